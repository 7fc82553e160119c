#include "station/sink/mqtt/mqtt_sink.h"

#include <algorithm>
#include <utility>

#include "station/mqtt/topic_list.h"
#include "station/mqtt/topics.h"
#include "station/run/latest_values.h"
#include "station/sink/mqtt/station_name.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kLookMilliseconds = 1000;
constexpr unsigned kLooksPerHealth = 10;
constexpr char kListFile[] = "mqtt-retained";

/// What ToJson says of an alarm, as far as there is something to say.
Json AlarmThatNeverWas(const DeviceIdentity& of, const std::string& kind) {
    return {{"time", nullptr},
            {"event", "alarm"},
            {"change", nullptr},
            {"id", nullptr},
            {"state", "over"},
            {"port", of.Port},
            {"address", of.Address == 0 ? Json() : Json(of.Address)},
            {"device", IdentifierJson(of.Identifier)},
            {"name", of.Name},
            {"alarm", kind},
            {"value", nullptr},
            {"limit", nullptr},
            {"text", nullptr},
            {"started", nullptr},
            {"ended", nullptr},
            {"acknowledged", nullptr}};
}

}  // namespace

MqttSink::MqttSink(std::string session, Apartment& home, MqttQuestions questions, MqttClient::Tell tell)
    : m_Session(std::move(session)), m_Home(home), m_Questions(std::move(questions)), m_Tell(std::move(tell)) {}

MqttSink::~MqttSink() {
    EndFeed();
}

void MqttSink::Use(MqttSetup setup, const std::string& folder) {
    if (setup.IsOn() && setup.Station.empty()) setup.Station = KeptStationName(folder, m_Tell);
    const auto list = folder.empty() ? std::string() : folder + kListFile;
    auto earlier = list.empty() ? std::set<std::string>() : ReadTopicList(list);
    OutgoingMessages::Retained kept;
    if (m_Client) {
        earlier.merge(m_Client->KeptTopics());
        // Under another name everything is said anew.
        if (setup.Begin() == m_Setup.Begin()) kept = m_Client->Kept();
    }
    m_Client.reset();
    EndFeed();
    m_Look.reset();
    m_Devices.clear();
    m_Setup = std::move(setup);
    if (!m_Setup.IsOn()) return;
    StartFeed();
    m_Client = std::make_unique<MqttClient>(m_Setup, OutgoingMessages(std::move(kept), std::move(earlier)), m_Feed,
                                            list, m_Home, m_Tell);
    m_Look = m_Home.CreateTimer([this] { Look(); });
    m_Look->Rearm(kLookMilliseconds, true);
    for (const auto& alarm : m_Questions.Alarms())
        OnAlarm(alarm);
}

void MqttSink::StartFeed() {
    const auto histories = m_Questions.Histories();
    if (!m_Setup.Backfill || !histories) return;
    m_Feed = HistoryFeed::Start(m_Setup, m_Home, {m_Questions.Acknowledge, m_Tell});
    m_Feed->Read(*histories);
}

void MqttSink::EndFeed() {
    if (m_Feed) m_Feed->Leave();
    m_Feed.reset();
}

std::optional<MqttState> MqttSink::State() const {
    if (!m_Client) return std::nullopt;
    MqttState state{m_Setup.Broker.Name(), m_Setup.Begin(), m_Client->State()};
    if (m_Feed) state.Carriage = m_Feed->State();
    return state;
}

void MqttSink::OnReading(const Reading& reading) {
    if (!m_Client || reading.Identifier.empty()) return;
    auto json = ToJson(reading);
    json["session"] = m_Session;
    json["seq"] = reading.Seq;
    Publish(StateTopic(reading.Identifier), Dump(json), false);
}

void MqttSink::OnAlarm(const AlarmEvent& event) {
    if (!m_Client) return;
    Publish(TopicOf(event), Dump(ToJson(event)), true);
}

void MqttSink::OnPortGone(const std::string& port) {
    std::erase_if(m_Identities, [&](const auto& one) { return one.first.Port == port; });
    if (m_Client) ClearBelow(BusTopics(port));
}

void MqttSink::Look() {
    if (m_Feed) m_Feed->Read(m_Questions.Histories().value_or(std::vector<std::string>()));
    auto setups = m_Questions.Setups();
    const bool isSetOtherwise = std::exchange(m_Setups, std::move(setups)) != m_Setups;
    const bool isOther = LookAtDevices() || isSetOtherwise;
    const bool isTime = m_Looks++ % kLooksPerHealth == 0;
    if (isTime) LookAtBuses();
    if (isTime || isOther) Describe();
    if (isOther) ClearEarlier();
}

bool MqttSink::LookAtDevices() {
    auto before = std::exchange(m_Devices, {});
    bool isOther = false;
    for (const auto& reading : m_Questions.Values()) {
        const auto& id = reading.Identifier;
        if (id.empty()) continue;
        auto& told = m_Devices[id];
        if (const auto known = before.find(id); known != before.end()) told = known->second;
        if (before.erase(id) == 0) isOther = true;
        // Nothing is known yet of one without a time.
        if (reading.UnixMilliseconds == 0) continue;
        const std::string now = reading.Quality == Quality::Offline ? kOffline : kOnline;
        if (std::exchange(told, now) != now) Publish(AvailabilityTopic(id), now, true);
    }
    for (const auto& [id, told] : before)
        Forget(id);
    return isOther || !before.empty();
}

void MqttSink::LookAtBuses() {
    for (const auto& bus : m_Questions.Buses())
        Publish(BusHealthTopic(bus.at("port")), Dump(bus), true);
}

void MqttSink::OnIdentity(const DeviceIdentity& identity) {
    m_Identities[identity.Id()] = identity;
}

DiscoveredStation MqttSink::Discovered() const {
    return {m_Setup.DiscoveryPrefix, m_Setup.Topic, m_Setup.Station};
}

void MqttSink::Describe() {
    const auto station = Discovered();
    const auto active = ActiveAlarms();
    if (m_Setup.HomeAssistant) m_Client->Publish({DiscoveryTopic(station, {}), DiscoveryPayload(station), true});
    for (const auto& bus : m_Setups) {
        DescribePort(bus, active);
        const auto expireAfter = std::chrono::ceil<std::chrono::seconds>(LatestValues::OfflineAfter(bus.Every));
        for (const auto& device : bus.Devices) {
            const auto known = m_Identities.find(IdOf(bus.PortLabel, device.Address));
            if (known == m_Identities.end() || !m_Devices.contains(known->second.Identifier)) continue;
            DiscoveredDevice described{known->second, device.Limits, expireAfter};
            described.Identity.Name = device.Name;
            DescribeAlarms(described, active);
            if (!m_Setup.HomeAssistant) continue;
            m_Client->Publish(
                {DiscoveryTopic(station, known->second.Identifier), DiscoveryPayload(station, described), true});
        }
    }
}

/// Of an alarm that is not on, and that nothing has been told of, it is told that it is over.
void MqttSink::DescribeAlarms(const DiscoveredDevice& device, const std::set<std::string>& active) {
    const auto& identity = device.Identity;
    std::set<std::string> wanted = active;
    for (const auto& [kind, isConfigured] : AlarmsOf(identity.Model, device.Limits)) {
        const auto topic = m_Setup.Begin() + AlarmTopic(identity.Identifier, kind);
        if (!isConfigured || !wanted.insert(topic).second) continue;
        m_Client->PublishFirst({topic, Dump(AlarmThatNeverWas(identity, kind)), true});
    }
    m_Client->ClearBelow(m_Setup.Begin() + AlarmTopic(identity.Identifier, {}), wanted);
}

void MqttSink::DescribePort(const BusSetup& bus, const std::set<std::string>& active) {
    const auto topic = m_Setup.Begin() + BusAlarmTopic(bus.PortLabel);
    if (active.contains(topic)) return;
    if (bus.PortGone.count() == 0) return m_Client->ClearBelow(topic);
    DeviceIdentity port;
    port.Port = bus.PortLabel;
    port.Name = bus.PortLabel;
    m_Client->PublishFirst({topic, Dump(AlarmThatNeverWas(port, "port")), true});
}

std::set<std::string> MqttSink::ActiveAlarms() const {
    std::set<std::string> topics;
    for (const auto& event : m_Questions.Alarms())
        topics.insert(m_Setup.Begin() + TopicOf(event));
    return topics;
}

std::string MqttSink::TopicOf(const AlarmEvent& event) {
    return event.Identifier.empty() ? BusAlarmTopic(event.Port) : AlarmTopic(event.Identifier, event.KindText());
}

/// Once it is known which devices there are.
void MqttSink::ClearEarlier() {
    const auto values = m_Questions.Values();
    const auto isSettled = [](const Reading& reading) { return !reading.Identifier.empty(); };
    if (values.empty() || !std::ranges::all_of(values, isSettled)) return;
    const auto active = ActiveAlarms();
    std::vector<std::string> claimed(active.begin(), active.end());
    for (const auto& reading : values) {
        claimed.push_back(m_Setup.Begin() + AvailabilityTopic(reading.Identifier));
        claimed.push_back(m_Setup.Begin() + BusHealthTopic(reading.Port));
        if (m_Setup.HomeAssistant) claimed.push_back(DiscoveryTopic(Discovered(), reading.Identifier));
    }
    m_Client->ClearEarlier([&](const std::string& topic) {
        return std::ranges::any_of(claimed, [&](const std::string& begin) { return topic.starts_with(begin); });
    });
}

void MqttSink::Publish(const std::string& topic, std::string payload, bool isRetained) {
    m_Client->Publish({m_Setup.Begin() + topic, std::move(payload), isRetained});
}

void MqttSink::ClearBelow(const std::string& topics) {
    m_Client->ClearBelow(m_Setup.Begin() + topics);
}

void MqttSink::Forget(const std::string& id) {
    ClearBelow(DeviceTopics(id));
    if (m_Setup.HomeAssistant) m_Client->ClearBelow(DiscoveryTopic(Discovered(), id));
}

void MqttSink::Leave() {
    if (m_Client) m_Client->Leave();
}

void MqttSink::Close(std::chrono::milliseconds limit) {
    if (m_Client) m_Client->Finish(limit);
    m_Client.reset();
    if (m_Feed) m_Feed->Leave();
    if (m_Feed) m_Feed->WaitForEnd(kLongestClose);
    m_Feed.reset();
    m_Look.reset();
}

}  // namespace orvix::station
