#include "station/commands/collect_session.h"

#include <initializer_list>
#include <utility>

#include "station/commands/commands.h"
#include "station/commands/open_door.h"
#include "station/door/problem.h"
#include "station/library/folders.h"
#include "station/model/clock.h"
#include "station/setup/configuration.h"
#include "station/sink/alarm_program/program_check.h"
#include "station/store/uuid.h"

namespace orvix::station {
namespace {

constexpr auto kFleetAlarmLimit = std::chrono::seconds(30);

StationSetup FleetSetupOf(const CollectOptions& options) {
    auto setup = options.Configuration.empty() ? StationSetup{} : LoadFleetConfiguration(options.Configuration);
    Apply(options.OfStation, setup);
    if (!setup.Mqtt.IsOn()) throw UsageError("name the broker: --mqtt URL, or --config FILE with [mqtt]");
    return setup;
}

/// What a fleet's devices are asked, and their lists, are the matter of their stations.
class NoActions : public StationActions {
public:
    void Read(const DeviceId& place, ORVIXCNB1_VARS /*v*/, std::function<void(const Reading&)> /*done*/) override {
        Refuse(place.Port);
    }
    void Export(const DeviceId& place, std::int32_t /*f*/, std::function<void(const DeviceFile&)> /*done*/) override {
        Refuse(place.Port);
    }
    void Add(const std::string& bus, const DeviceSetup& /*device*/, Done /*done*/) override { Refuse(bus); }
    void Rename(const DeviceId& place, const std::string& /*name*/, Done /*done*/) override { Refuse(place.Port); }
    void Remove(const DeviceId& place, Done /*done*/) override { Refuse(place.Port); }

private:
    [[noreturn]] static void Refuse(const std::string& bus) {
        throw ProblemError(409, "this is the matter of the station " + StationOfBus(bus) + ": ask there");
    }
};

}  // namespace

CollectSession::CollectSession(const CollectOptions& options, MainLoop& loop)
    : m_Options(options),
      m_Loop(loop),
      m_Setup(FleetSetupOf(options)),
      m_Folder(FindFolders(m_Setup.Data).Data),
      m_Lock(LockDataFolder(m_Folder)),
      m_Lines(loop, false, true),
      m_Output(m_Lines.Lines()),
      m_Session(NewUuid()),
      m_Shown(m_Output, loop.Apartment(), OutputListener::Choice{.Readings = false}),
      m_Service(loop.Apartment(), [] { return true; }),
      m_AlarmProgram(m_Setup.OnAlarm, kFleetAlarmLimit, loop.Apartment(),
                     [this](const std::string& text) { m_Output.Note(text); }),
      m_Events(loop.Apartment(), m_Session),
      m_LineBytes(loop.Apartment(), m_Session),
      m_Fleet(m_Setup.Mqtt.Topic, loop.Apartment(), Wishes()),
      m_Run(m_Fleet, m_Session),
      m_Slow(loop.Apartment()),
      m_Actions(std::make_unique<NoActions>()),
      m_Door(loop.Apartment(), View()) {
    for (Listener* listener :
         std::initializer_list<Listener*>{&m_Shown, &m_Service, &m_Health, &m_AlarmProgram, &m_Events, &m_LineBytes})
        m_Run.Add(*listener);
    OpenSocket(m_Door, m_Folder, kStationSocket, m_Output);
    if (!m_Setup.Web.Listen.empty()) m_Door.OpenWeb(m_Setup.Web);
    if (!m_Setup.Metrics.empty()) m_Door.OpenMetrics(m_Setup.Metrics);
}

Fleet::Wishes CollectSession::Wishes() {
    return {.Tell = [this](const std::string& text) { m_Output.Note(text); },
            .Listen = [this](const std::vector<MqttTopic>& topics) { m_Broker->Listen(topics); },
            .Changed = [this] { m_Run.Apply(m_Fleet.Setups()); }};
}

MqttSubscriber::Events CollectSession::Events() {
    return {.Connected =
                [this] {
                    const bool isAgain = !std::exchange(m_Trouble, {}).empty();
                    m_Output.Note(std::string("MQTT broker: connected") + (isAgain ? " again" : ""));
                },
            .Heard = [this](const std::vector<MqttHeard>& messages) { m_Fleet.Hear(messages); },
            .Lost = [this](const std::string& why) { OnLost(why); }};
}

void CollectSession::OnLost(const std::string& why) {
    if (std::exchange(m_Trouble, why) != why) m_Output.Note("MQTT broker: " + why + "; it is tried again and again");
    m_Fleet.Lose("the MQTT broker: " + why);
}

StationView CollectSession::View() {
    return {.Name = StationName(),
            .Session = m_Session,
            .Started = UnixMilliseconds(),
            .Run = m_Run,
            .Events = m_Events,
            .Lines = m_LineBytes,
            .Health = [this] { return Health(); },
            .IsSimulated = [](const std::string& /*bus*/) { return false; },
            .Slow = m_Slow,
            .Actions = m_Actions.get(),
            .IsFleet = true};
}

StationHealth CollectSession::Health() {
    auto& home = m_Loop.Apartment();
    auto health = m_Health.At(home.Now(), UnixMillisecondsOf(home.DateNow()), m_Run.Values());
    for (auto& bus : health.Buses) {
        const auto said = m_Fleet.SentencesOf(bus.Port);
        bus.Told.emplace();
        if (!said.OfBus.empty()) bus.Told->push_back({0, said.OfBus});
        for (const auto& [address, sentence] : said.OfDevice)
            bus.Told->push_back({address, sentence});
    }
    return health;
}

int CollectSession::Run() {
    if (const auto problem = ProblemOfCommand(m_Setup.OnAlarm)) m_Output.Note("alarms.on_alarm: " + *problem);
    m_Broker = std::make_unique<MqttSubscriber>(m_Setup.Mqtt, m_Fleet.FirstTopics(), m_Loop.Apartment(), Events());
    const auto end = m_Loop.Apartment().CreateTimer([this] { m_Loop.Stop(); });
    if (m_Options.For) end->Rearm(static_cast<std::int32_t>(m_Options.For->count()), true);
    m_Loop.Run();
    m_Broker.reset();
    m_AlarmProgram.Close();
    m_Lines.Finish();
    return kDone;
}

int Execute(const CollectOptions& options, MainLoop& loop) {
    return CollectSession(options, loop).Run();
}

}  // namespace orvix::station
