#include "station/commands/replay_session.h"

#include <algorithm>

#include "host/text.h"
#include "station/commands/commands.h"
#include "station/commands/open_door.h"
#include "station/library/folders.h"
#include "station/model/clock.h"
#include "station/store/uuid.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kRealTimeStepMs = 20;
// In between, signals and those who ask have their turn.
constexpr std::chrono::seconds kFastStep{10};
constexpr std::chrono::milliseconds kLongestStep{20};

}  // namespace

ReplaySession::ReplaySession(const ReplayOptions& options, MainLoop& loop)
    : m_Options(options),
      m_Loop(loop),
      m_Source(RecordingReader(options.File), FindLibrary(), loop.Apartment()),
      m_Lines(loop, options.Json, m_Source.Recording().Header().NamesPorts),
      m_Listener(m_Lines.Lines(), m_Source.Home(), {}),
      m_Recorder(options.Record.empty() ? nullptr
                                        : std::make_unique<Recorder>(
                                              options.Record, m_Source.Home(), m_Source.Recording().Header().NamesPorts,
                                              [this](const std::string& text) { m_Lines.Lines().Note(text); })),
      m_Session(NewUuid()),
      m_Events(loop.Apartment(), m_Session),
      m_LineBytes(loop.Apartment(), m_Session),
      m_Run(m_Source, m_Session),
      m_Slow(loop.Apartment()),
      m_Door(loop.Apartment(), View()) {
    OpenSocket(m_Door, FindFolders(options.Data).Data, ReplaySocket(), m_Lines.Lines());
    for (Listener* listener : std::initializer_list<Listener*>{&m_Listener, &m_Health, &m_Events, &m_LineBytes, this})
        m_Run.Add(*listener);
    if (m_Recorder) m_Run.Add(*m_Recorder);
}

StationView ReplaySession::View() {
    return {.Name = StationName(),
            .Session = m_Session,
            .Started = UnixMilliseconds(),
            .Run = m_Run,
            .Events = m_Events,
            .Lines = m_LineBytes,
            .Health = [this] { return Health(); },
            .IsSimulated = [](const std::string&) { return true; },
            .ShowsLines = false,
            .KeepsHistory = false,
            .HistoryFiles = {},
            .Slow = m_Slow,
            .Actions = nullptr};
}

StationHealth ReplaySession::Health() {
    auto& home = m_Source.Home();
    return m_Health.At(home.Now(), UnixMillisecondsOf(home.DateNow()), m_Run.Values());
}

int ReplaySession::Run() {
    m_Started = m_Loop.Apartment().Now();
    m_Step = m_Loop.Apartment().CreateTimer([this] { Step(); });
    m_Step->Rearm(m_Options.Fast ? 1 : kRealTimeStepMs, true);
    m_Loop.Run();

    m_Run.TellHeld();
    auto& lines = m_Lines.Lines();
    const auto& failure = m_Source.ReadFailure();
    if (m_Source.Recording().IsCutOff()) lines.Note(m_Options.File + ": the last line is cut off and left out");
    if (!failure.empty()) lines.Note(m_Options.File + " was played as far as it can be read: " + failure);
    if (const auto missing = m_Recorder ? m_Recorder->Finish() : std::nullopt) lines.Note(*missing);
    if (const auto summary = m_Listener.Summary(); !summary.empty()) lines.Note(summary);
    lines.Note(Summary());
    m_Lines.Finish();
    return failure.empty() ? kDone : kFailed;
}

void ReplaySession::Step() {
    const auto now = m_Loop.Apartment().Now();
    if (!m_Options.Fast) m_Until = now - m_Started;
    while (HasRoom() && !m_Source.Over() && m_Loop.Apartment().Now() - now < kLongestStep) {
        if (m_Source.PlayNext(m_Until, *this)) continue;
        if (!m_Options.Fast) break;
        m_Until += kFastStep;
    }
    // What has an end waits for its reader.
    if (m_Source.Over() && m_Lines.Out().IsIdle()) m_Loop.Stop();
}

void ReplaySession::Use(const BusSetup& setup) {
    const auto isSame = [&](const BusSetup& bus) { return bus.PortLabel == setup.PortLabel; };
    const auto running = std::find_if(m_Buses.begin(), m_Buses.end(), isSame);
    if (running != m_Buses.end()) {
        *running = setup;
        m_Run.Apply(m_Buses);
        return;
    }
    try {
        m_Run.Start(setup);
        m_Buses.push_back(setup);
    } catch (const Error& error) {
        m_Lines.Lines().Note(setup.PortLabel + ": cannot be played: " + error.Description);
    }
}

void ReplaySession::Stop(const std::string& port) {
    std::erase_if(m_Buses, [&](const BusSetup& bus) { return bus.PortLabel == port; });
    m_Run.Apply(m_Buses);
}

void ReplaySession::OnReading(const Reading& reading) {
    ++m_Readings;
    if (!reading.Valid()) ++m_Failed;
}

std::string ReplaySession::Summary() const {
    auto text = NumberText(m_Readings) + " readings, " + NumberText(m_Failed) + " of them failed";
    if (const int unknown = m_Source.Unknown(); unknown > 0)
        text += "; requests that were not in the recording: " + NumberText(unknown);
    if (const int skipped = m_Source.Skipped(); skipped > 0)
        text += "; recorded requests that were not sent again: " + NumberText(skipped);
    return text;
}

}  // namespace orvix::station
