#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "station/json/json.h"
#include "station/model/bus_setup.h"
#include "station/model/device_identity.h"
#include "station/model/listener.h"
#include "station/model/mqtt_setup.h"
#include "station/model/mqtt_state.h"
#include "station/mqtt/discovery.h"
#include "station/mqtt/mqtt_client.h"
#include "station/sink/mqtt/history_feed.h"

namespace orvix::station {

/// What the sink asks the station for, now and then.
struct MqttQuestions {
    std::function<std::vector<Reading>()> Values;     ///< as StationRun::Values
    std::function<std::vector<AlarmEvent>()> Alarms;  ///< those that are on
    std::function<Json()> Buses;                      ///< the health of each, with its name as "port"
    std::function<std::vector<BusSetup>()> Setups;    ///< as StationRun::Setups
    /// The histories that are kept; nothing while none are wanted.
    std::function<std::optional<std::vector<std::string>>()> Histories = [] { return std::nullopt; };
    /// A broker has all rows of one up to a number.
    std::function<void(const BrokerOfHistory& who, std::int64_t n)> Acknowledge{};
};

/// Reports to an MQTT broker: each reading and alarm as it comes; once a second which devices are there, now and then
/// the health of the buses, and what Home Assistant should know of the devices. What the broker keeps of devices that
/// were removed, also before this run, is cleared. What is recorded is carried out of the histories. Lives in `home`,
/// and waits for nothing.
class MqttSink : public Listener {
public:
    /// How long Close takes at most.
    static constexpr std::chrono::milliseconds kLongestClose{2500};

    /// `session`: UUID of the run. `tell` is called in `home` with what people should know.
    MqttSink(std::string session, Apartment& home, MqttQuestions questions, MqttClient::Tell tell);
    ~MqttSink() override;

    /// Reports there from now on, or nowhere. `folder`: the data folder, where a name that was made up is kept, and
    /// of which topics the broker may keep something; ends with "/". Empty: neither is, and the setup has a name.
    void Use(MqttSetup setup, const std::string& folder);
    /// Nothing when no broker is wanted.
    std::optional<MqttState> State() const;
    void OnIdentity(const DeviceIdentity& identity) override;
    void OnReading(const Reading& reading) override;
    void OnAlarm(const AlarmEvent& event) override;
    void OnPortGone(const std::string& port) override;
    /// Begins to end the connection, which gets a short time to send what waits.
    void Leave();
    /// Does so, and waits for the end.
    void Close(std::chrono::milliseconds limit = kLongestClose);

private:
    void StartFeed();
    void EndFeed();
    void Look();
    /// Returns whether there are other devices than before.
    bool LookAtDevices();
    void LookAtBuses();
    void Describe();
    void DescribeAlarms(const DiscoveredDevice& device, const std::set<std::string>& active);
    void DescribePort(const BusSetup& bus, const std::set<std::string>& active);
    /// Topics of the alarms that are on.
    std::set<std::string> ActiveAlarms() const;
    static std::string TopicOf(const AlarmEvent& event);
    void ClearEarlier();
    DiscoveredStation Discovered() const;
    /// Of a topic of the station's own.
    void Publish(const std::string& topic, std::string payload, bool isRetained);
    void ClearBelow(const std::string& topics);
    void Forget(const std::string& id);

    const std::string m_Session;
    Apartment& m_Home;
    const MqttQuestions m_Questions;
    const MqttClient::Tell m_Tell;
    MqttSetup m_Setup;                     ///< with the station's name
    std::unique_ptr<MqttClient> m_Client;  ///< null: no broker is wanted
    std::shared_ptr<HistoryFeed> m_Feed;   ///< null: nothing is carried
    std::map<DeviceId, DeviceIdentity> m_Identities;
    std::unique_ptr<Timer> m_Look;
    unsigned m_Looks = 0;
    std::vector<BusSetup> m_Setups;                ///< as they were at the latest look
    std::map<std::string, std::string> m_Devices;  ///< availability of those that are there, by id; empty: not told
};

}  // namespace orvix::station
