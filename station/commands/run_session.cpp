#include "station/commands/run_session.h"

#include "station/commands/commands.h"
#include "station/commands/run_setup.h"
#include "station/door/health_requests.h"
#include "station/door/health_text.h"
#include "station/model/clock.h"
#include "station/setup/configuration.h"
#include "station/store/history_schema.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

constexpr auto kAlarmCommandLimit = std::chrono::seconds(30);

bool WantsScreen(const RunOptions& options) {
    return !options.Plain && !options.Quiet && !options.Bus.Json;
}

Output& ChosenOutput(LiveOutput& lines, std::optional<ScreenSession>& screen) {
    return screen && screen->Get() != nullptr ? *screen->Get() : lines.Lines();
}

}  // namespace

RunSession::RunSession(const RunOptions& options, MainLoop& loop)
    : m_Options(options),
      m_Loop(loop),
      m_Setup(SetupOf(options)),
      m_Station(OpenStation(m_Setup.Data)),
      m_Lines(loop, options.Bus.Json, m_Setup.Buses.size() > 1),
      m_Screen(WantsScreen(options) ? std::make_optional<ScreenSession>(loop, m_Lines) : std::nullopt),
      m_Output(ChosenOutput(m_Lines, m_Screen)),
      m_Listener(m_Output, loop.Apartment(), {.Readings = !options.Quiet, .Messages = options.Bus.Verbose}),
      m_Service(loop.Apartment(), [this] { return m_Run.Moves(); }),
      m_AlarmCommand(m_Setup.OnAlarm, kAlarmCommandLimit, loop.Apartment(),
                     [this](const std::string& text) { m_Output.Note(text); }),
      m_History(RecordHistory()),
      m_Recorder(RecordLines()),
      m_Source(*m_Station, loop.Apartment()),
      m_Run(m_Source,
            [this](const std::string& port, const Error& error) {
                m_Output.Note("configuration read again: " + port + ": cannot be started: " + error.Description);
            }),
      m_Starter(*m_Station, m_Run, m_Simulated, loop, m_Output, m_Lines.Err()),
      m_Control(OpenControl()) {
    for (Listener* listener : std::initializer_list<Listener*>{&m_Listener, &m_Service, &m_Health, &m_AlarmCommand})
        m_Run.Add(*listener);
    if (m_History) m_Run.Add(*m_History);
    if (m_Recorder) m_Run.Add(*m_Recorder);
    if (!m_Setup.Metrics.empty()) {
        m_Metrics = std::make_unique<MetricsServer>(m_Setup.Metrics, loop.Apartment(), [this] { return Health(); });
    }
}

std::unique_ptr<HistoryRecorder> RunSession::RecordHistory() {
    if (!m_Setup.History.On) return nullptr;
    return std::make_unique<HistoryRecorder>(m_Station->Folders.Data + kHistoryFile, m_Setup.History,
                                             m_Loop.Apartment(),
                                             [this](const std::string& text) { m_Output.Note(text); });
}

std::unique_ptr<Recorder> RunSession::RecordLines() {
    if (m_Options.Record.empty()) return nullptr;
    return std::make_unique<Recorder>(m_Options.Record, m_Loop.Apartment(), m_Setup.Buses.size() > 1,
                                      [this](const std::string& text) { m_Output.Note(text); });
}

std::unique_ptr<ControlServer> RunSession::OpenControl() {
    const auto& folder = m_Station->Folders.Data;
    try {
        auto control = std::make_unique<ControlServer>(
            folder, m_Loop.Apartment(),
            ControlServer::Requests{{kHealthRequest, [this] { return PlainHealth(Health()); }},
                                    {kHealthJsonRequest, [this] { return JsonHealth(Health()); }}});
        if (const auto other = control->OtherStation()) {
            m_Output.Note("another station (process " + std::to_string(*other) + ") uses the data folder " + folder +
                          " too; both work, and nimbo1 health shows both");
        }
        return control;
    } catch (const Error& error) {
        m_Output.Note("nimbo1 health cannot ask this station: " + error.Description);
        return nullptr;
    }
}

StationHealth RunSession::Health() {
    auto health =
        m_Health.At(m_Loop.Apartment().Now(), UnixMillisecondsOf(m_Loop.Apartment().DateNow()), m_Run.Values());
    if (m_History) health.HistoryStill = m_History->StandsStill();
    return health;
}

int RunSession::Run() {
    TellNotices(*m_Station, m_Output);
    m_Starter.Start(m_Setup.Buses);
    if (m_Screen && m_Screen->Get() != nullptr) m_Screen->Get()->Watch([this] { return m_Run.Values(); });
    if (!m_Options.Configuration.empty()) m_Loop.OnHangUp([this] { Reload(); });
    m_Starter.OnScansEnded([this] {
        if (m_ReloadWaits) m_Loop.Apartment().Post([this] { Reload(); });
    });
    m_Loop.OnReopen([this] {
        if (m_Recorder) m_Recorder->Reopen();
        m_Run.ReopenTraces();
    });

    const auto end = m_Loop.Apartment().CreateTimer([this] { m_Loop.Stop(); });
    if (m_Options.For) end->Rearm(static_cast<std::int32_t>(m_Options.For->count()), true);
    m_Loop.Run();
    m_Loop.OnHangUp([] {});
    m_Loop.OnReopen([] {});
    return Finish();
}

void RunSession::Reload() {
    // The scan's port becomes a bus first, with what was asked for when it began.
    m_ReloadWaits = m_Starter.IsScanning();
    if (m_ReloadWaits) return m_Output.Note("the configuration is read again when the scan has ended");
    m_Service.Reloading();
    try {
        Apply(SetupOf(m_Options));
    } catch (const std::exception& error) {
        m_Output.Note(std::string("the configuration cannot be used and changes nothing:\n") + error.what());
    }
    m_Service.Reloaded();
}

void RunSession::Apply(const StationSetup& wanted) {
    auto done = m_Starter.Apply(wanted.Buses);
    if (wanted.OnAlarm != m_Setup.OnAlarm) done.emplace_back("changed the alarm command");
    if (wanted.Data != m_Setup.Data || wanted.Metrics != m_Setup.Metrics || wanted.History != m_Setup.History) {
        done.emplace_back("data folder, history and metrics stay as they are until the next start");
    }
    m_AlarmCommand.Command(wanted.OnAlarm);
    m_Setup.OnAlarm = wanted.OnAlarm;
    for (const auto& text : done)
        m_Output.Note("configuration read again: " + text);
    if (done.empty()) m_Output.Note("configuration read again: nothing has changed");
}

int RunSession::Finish() {
    if (m_Screen) m_Screen->End();
    m_Starter.KeepFound();
    if (const auto missing = m_Recorder ? m_Recorder->Finish() : std::nullopt) m_Output.Note(*missing);
    const auto lost = m_History ? m_History->Close() : 0;
    if (lost > 0) m_Output.Note("history: " + Counted(lost, "reading") + " lost: the file cannot be written");
    if (const auto summary = m_Listener.Summary(); !summary.empty()) m_Output.Note(summary);
    m_Lines.Finish();
    return m_Listener.AnyGood() && lost == 0 ? kDone : kFailed;
}

}  // namespace orvix::station
