#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "station/fleet/reading_order.h"
#include "station/fleet/told.h"
#include "station/mqtt/mqtt_subscriber.h"
#include "station/source/source.h"

namespace orvix::station {

/// The stations that report to a broker, as the source of one station that has all their buses; what these and their
/// devices are called there is in model/fleet_names.h. What the stations tell is not believed but checked: what is not
/// as a station writes it is dropped, and said once a station.
class Fleet : public Source {
public:
    static constexpr std::size_t kMostStations = 1000;
    static constexpr std::size_t kMostBuses = 32;     ///< of a station
    static constexpr std::size_t kMostAlarms = 2000;  ///< the same

    /// What is asked of the one who has it.
    struct Wishes {
        /// What people should know, a sentence.
        std::function<void(const std::string&)> Tell;
        /// To these from now on, too.
        std::function<void(const std::vector<MqttTopic>&)> Listen;
        /// Setups() are others.
        std::function<void()> Changed;
    };

    /// What is wrong with a bus and its devices, as its station says.
    struct Sentences {
        std::string OfBus;                    ///< empty: nothing
        std::map<int, std::string> OfDevice;  ///< by address
    };

    /// `base`: levels of topics before that of the station.
    Fleet(std::string base, Apartment& home, Wishes wishes);
    ~Fleet() override;

    /// What is to be listened to before any station is known.
    std::vector<MqttTopic> FirstTopics() const;
    void Hear(const std::vector<MqttHeard>& messages);
    /// Nothing is heard of any station from now on.
    void Lose(const std::string& why);
    /// The buses of all stations.
    std::vector<BusSetup> Setups() const;
    Sentences SentencesOf(const std::string& busInFleet) const;

    Apartment& Home() override { return m_Home; }
    std::unique_ptr<SourceBus> Open(const BusSetup& setup, Listener& listener, std::function<void()> ended) override;

private:
    class FleetBus;
    struct Place {
        std::string Bus;
        int Address = 0;
    };
    struct Station {
        std::optional<bool> IsOnline;
        std::map<std::string, ToldBus> Buses;      ///< by the station's names
        std::map<std::string, Place> Places;       ///< by the id of the device
        std::map<std::string, AlarmEvent> Alarms;  ///< that are on, by topic
        ReadingOrder Order;
        bool IsToldBad = false;
        bool IsToldOld = false;
    };

    void HearOne(const MqttHeard& message);
    void HearStatus(const std::string& name, const std::string& payload);
    void HearOfDevice(const std::string& name, Station& station, const std::string& topic, const MqttHeard& message);
    void HearOfBus(const std::string& name, Station& station, const std::string& topic, const MqttHeard& message);
    void HearReading(const std::string& name, Station& station, const std::string& id, const std::string& payload);
    void HearAlarm(const std::string& name, Station& station, const std::string& topic, const MqttHeard& message);
    void HearHealth(const std::string& name, Station& station, const std::string& level, const std::string& payload);
    void TakeBus(const std::string& name, Station& station, ToldBus bus);
    void Forget(const std::string& name);
    /// The station cannot be heard, for this reason.
    void Silence(const std::string& name, Station& station, const std::string& why);
    /// Whether the port of a bus works.
    void TellState(const std::string& busInFleet);
    void TellPort(const std::string& busInFleet, const std::string& failure);
    FleetBus* Running(const std::string& busInFleet) const;
    void Change();

    const std::string m_Begin;  ///< of all topics
    Apartment& m_Home;
    const Wishes m_Wishes;
    std::map<std::string, Station> m_Stations;
    std::map<std::string, FleetBus*> m_Running;  ///< by their names in the fleet
    bool m_ChangeWaits = false;
    bool m_IsToldFull = false;
    const std::shared_ptr<bool> m_Lives = std::make_shared<bool>(true);
};

}  // namespace orvix::station
