#include "station/commands/run_session.h"

#include "station/commands/commands.h"
#include "station/commands/open_door.h"
#include "station/commands/run_setup.h"
#include "station/door/health_text.h"
#include "station/library/folders.h"
#include "station/model/clock.h"
#include "station/setup/configuration.h"
#include "station/sink/alarm_program/program_check.h"
#include "station/store/alarm_query.h"
#include "station/store/history_identities.h"
#include "station/store/history_schema.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

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
      m_Lock(LockDataFolder(FindFolders(m_Setup.Data).Data)),
      m_Station(OpenStation(m_Setup.Data)),
      m_Lines(loop, options.Bus.Json, m_Setup.Buses.size() > 1),
      m_Screen(WantsScreen(options) ? std::make_optional<ScreenSession>(loop, m_Lines) : std::nullopt),
      m_Output(ChosenOutput(m_Lines, m_Screen)),
      m_Sinks(
          options, m_Setup, m_Station->Folders, m_Output, loop.Apartment(), [this] { return m_Sources.Run.Moves(); },
          [this](const std::string& port) { return m_Sources.Simulated.contains(port); }, Questions()),
      m_Sources(*this),
      m_Slow(loop.Apartment()),
      m_Actions(m_Sources.Run, m_Slow, m_Setup, m_Station->Folders.Database, m_Output),
      m_Door(loop.Apartment(), View()) {
    m_Sinks.AddTo(m_Sources.Run);
    m_Sources.Run.Know(KnownIdentities(m_Station->Folders.Data, m_Station->Folders.Database));
    for (const char* name : {kSimulatedHistoryFile, kHistoryFile})
        m_Sources.Run.Know(AlarmsLeftOn(m_Station->Folders.Data + name));
    OpenDoor();
}

RunSession::Sources::Sources(RunSession& session)
    : Ports(*session.m_Station, session.m_Loop.Apartment()),
      Run(Ports, session.m_Sinks.Session,
          [&output = session.m_Output](const std::string& port, const Error& error) {
              output.Note("configuration read again: " + port + ": cannot be started: " + error.Description);
          }),
      Starter(*session.m_Station, Run, Simulated, session.m_Loop, session.m_Output, session.m_Lines.Err()) {}

StationView RunSession::View() {
    return {.Name = StationName(),
            .Session = m_Sinks.Session,
            .Started = UnixMilliseconds(),
            .Run = m_Sources.Run,
            .Events = m_Sinks.Events,
            .Lines = m_Sinks.Lines,
            .Health = [this] { return Health(); },
            .IsSimulated = [this](const std::string& bus) { return m_Sources.Simulated.contains(bus); },
            .ShowsLines = m_Setup.Web.Lines,
            .KeepsHistory = m_Sinks.History != nullptr,
            .HistoryFiles = {m_Station->Folders.Data + kHistoryFile, m_Station->Folders.Data + kSimulatedHistoryFile},
            .Slow = m_Slow,
            .Mqtt = [this] { return m_Sinks.Mqtt.State(); },
            .Actions = &m_Actions};
}

void RunSession::OpenDoor() {
    OpenSocket(m_Door, m_Station->Folders.Data, kStationSocket, m_Output);
    if (!m_Setup.Web.Listen.empty()) m_Door.OpenWeb(m_Setup.Web);
    if (!m_Setup.Metrics.empty()) m_Door.OpenMetrics(m_Setup.Metrics);
}

StationHealth RunSession::Health() {
    auto health = m_Sinks.Health.At(m_Loop.Apartment().Now(), UnixMillisecondsOf(m_Loop.Apartment().DateNow()),
                                    m_Sources.Run.Values());
    if (m_Sinks.History) health.HistoryStill = m_Sinks.History->StandsStill();
    return health;
}

MqttQuestions RunSession::Questions() {
    return {.Values = [this] { return m_Sources.Run.Values(); },
            .Alarms = [this] { return m_Sources.Run.Alarms().Active(); },
            .Buses = [this] { return HealthJson(Health()).at("buses"); },
            .Setups = [this] { return m_Sources.Run.Setups(); },
            .Histories = [this] { return m_Sinks.History ? std::optional(m_Sinks.History->Files()) : std::nullopt; },
            .Acknowledge =
                [this](const BrokerOfHistory& who, std::int64_t n) {
                    if (m_Sinks.History) m_Sinks.History->Acknowledge(who, n);
                }};
}

void RunSession::UseMqtt(const MqttSetup& setup) {
    if (m_Sinks.History) {
        const bool isCarried = setup.IsOn() && setup.Backfill;
        m_Sinks.History->SendTo(isCarried ? std::vector{setup.Broker.Name()} : std::vector<std::string>(),
                                setup.Resend);
    }
    m_Sinks.Mqtt.Use(setup, m_Station->Folders.Data);
}

int RunSession::Run() {
    TellNotices(*m_Station, m_Output);
    UseMqtt(m_Setup.Mqtt);
    if (const auto problem = ProblemOfCommand(m_Setup.OnAlarm)) m_Output.Note("alarms.on_alarm: " + *problem);
    m_Sources.Starter.Start(m_Setup.Buses);
    if (m_Screen && m_Screen->Get() != nullptr) m_Screen->Get()->Watch([this] { return m_Sources.Run.Values(); });
    if (!m_Options.Configuration.empty()) m_Loop.OnHangUp([this] { Reload(); });
    m_Sources.Starter.OnScansEnded([this] {
        if (m_ReloadWaits) m_Loop.Apartment().Post([this] { Reload(); });
    });
    m_Loop.OnReopen([this] {
        if (m_Sinks.Recording) m_Sinks.Recording->Reopen();
        m_Sources.Run.ReopenTraces();
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
    m_ReloadWaits = m_Sources.Starter.IsScanning();
    if (m_ReloadWaits) return m_Output.Note("the configuration is read again when the scan has ended");
    m_Sinks.Service.Reloading();
    try {
        Apply(SetupOf(m_Options));
    } catch (const std::exception& error) {
        m_Output.Note(std::string("the configuration cannot be used and changes nothing:\n") + error.what());
    }
    m_Sinks.Service.Reloaded();
}

void RunSession::Apply(const StationSetup& wanted) {
    auto done = m_Sources.Starter.Apply(wanted.Buses);
    if (wanted.OnAlarm != m_Setup.OnAlarm) done.emplace_back("changed the alarm command");
    if (wanted.Mqtt != m_Setup.Mqtt) {
        m_Setup.Mqtt = wanted.Mqtt;
        UseMqtt(wanted.Mqtt);
        done.emplace_back(wanted.Mqtt.IsOn() ? "reconnects to the MQTT broker" : "disconnects from the MQTT broker");
    }
    if (wanted.Data != m_Setup.Data || wanted.Metrics != m_Setup.Metrics || wanted.Web != m_Setup.Web ||
        wanted.History != m_Setup.History) {
        done.emplace_back("data folder, history, addresses of page and metrics stay as they are until the next start");
    }
    try {
        m_Door.TakeTokens(m_Setup.Web);
    } catch (const Error& error) {
        done.push_back("the tokens stay as they are: " + error.Description);
    }
    m_Sinks.AlarmProgram.Command(wanted.OnAlarm);
    m_Setup.OnAlarm = wanted.OnAlarm;
    if (const auto problem = ProblemOfCommand(wanted.OnAlarm)) done.emplace_back("alarms.on_alarm: " + *problem);
    for (const auto& text : done)
        m_Output.Note("configuration read again: " + text);
    if (done.empty()) m_Output.Note("configuration read again: nothing has changed");
}

int RunSession::Finish() {
    if (m_Screen) m_Screen->End();
    m_Sources.Run.TellHeld();
    m_Sinks.AlarmProgram.Close();
    m_Sources.Starter.KeepFound();
    if (const auto missing = m_Sinks.Recording ? m_Sinks.Recording->Finish() : std::nullopt) m_Output.Note(*missing);
    const auto lost = m_Sinks.History ? m_Sinks.History->Close() : 0;
    if (lost > 0) m_Output.Note("history: " + Counted(lost, "reading") + " lost: the file cannot be written");
    if (const auto summary = m_Sinks.Shown.Summary(); !summary.empty()) m_Output.Note(summary);
    m_Sinks.Mqtt.Close();
    m_Lines.Finish();
    return m_Sinks.Shown.AnyGood() && lost == 0 ? kDone : kFailed;
}

}  // namespace orvix::station
