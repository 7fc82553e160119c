#include "station/sink/mqtt/mqtt_sink.h"

#include <utility>

#include "station/mqtt/topics.h"
#include "station/sink/mqtt/station_name.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kLookMilliseconds = 1000;
constexpr unsigned kLooksPerHealth = 10;

}  // namespace

MqttSink::MqttSink(std::string session, Apartment& home, MqttQuestions questions, MqttClient::Tell tell)
    : m_Session(std::move(session)), m_Home(home), m_Questions(std::move(questions)), m_Tell(std::move(tell)) {}

MqttSink::~MqttSink() = default;

void MqttSink::Use(MqttSetup setup, const std::string& folder) {
    auto kept = m_Client ? m_Client->Kept() : OutgoingMessages::Retained();
    m_Client.reset();
    m_Look.reset();
    if (!setup.IsOn()) return m_Devices.clear();
    if (setup.Station.empty()) setup.Station = KeptStationName(folder, m_Tell);
    m_Client = std::make_unique<MqttClient>(std::move(setup), std::move(kept), m_Home, m_Tell);
    m_Look = m_Home.CreateTimer([this] { Look(); });
    m_Look->Rearm(kLookMilliseconds, true);
    for (const auto& alarm : m_Questions.Alarms())
        OnAlarm(alarm);
}

void MqttSink::OnReading(const Reading& reading) {
    if (!m_Client || reading.Identifier.empty()) return;
    auto json = ToJson(reading);
    json["session"] = m_Session;
    json["seq"] = reading.Seq;
    m_Client->Publish({StateTopic(reading.Identifier), Dump(json)});
}

void MqttSink::OnAlarm(const AlarmEvent& event) {
    if (!m_Client) return;
    const auto topic =
        event.Identifier.empty() ? BusAlarmTopic(event.Port) : AlarmTopic(event.Identifier, event.KindText());
    m_Client->Publish({topic, Dump(ToJson(event)), true});
}

void MqttSink::OnPortGone(const std::string& port) {
    if (m_Client) m_Client->ClearBelow(BusTopics(port));
}

void MqttSink::Look() {
    LookAtDevices();
    if (m_Looks++ % kLooksPerHealth == 0) LookAtBuses();
}

void MqttSink::LookAtDevices() {
    auto before = std::exchange(m_Devices, {});
    for (const auto& reading : m_Questions.Values()) {
        const auto& id = reading.Identifier;
        if (id.empty()) continue;
        auto& told = m_Devices[id] = before[id];
        before.erase(id);
        // Nothing is known yet of one without a time.
        if (reading.UnixMilliseconds == 0) continue;
        const std::string now = reading.Quality == Quality::Offline ? kOffline : kOnline;
        if (std::exchange(told, now) != now) m_Client->Publish({AvailabilityTopic(id), now, true});
    }
    for (const auto& [id, told] : before)
        m_Client->ClearBelow(DeviceTopics(id));
}

void MqttSink::LookAtBuses() {
    for (const auto& bus : m_Questions.Buses())
        m_Client->Publish({BusHealthTopic(bus.at("port")), Dump(bus), true});
}

void MqttSink::Close() {
    if (m_Client) m_Client->Finish(kLongestClose);
    m_Client.reset();
    m_Look.reset();
}

}  // namespace orvix::station
