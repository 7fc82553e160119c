#include "station/fleet/fleet.h"

#include <algorithm>
#include <utility>

#include "host/characters.h"
#include "host/error.h"
#include "station/model/bus_setup.h"
#include "station/model/fleet_names.h"
#include "station/mqtt/topics.h"

namespace orvix::station {
namespace {

constexpr char kDevices[] = "devices/";
constexpr char kBuses[] = "buses/";
constexpr char kStateEnd[] = "/state";
constexpr char kAvailabilityEnd[] = "/availability";
constexpr char kAlarmPart[] = "/alarm/";
constexpr char kHealthEnd[] = "/health";
constexpr std::size_t kLongestComplaint = 400;

/// What stands between the two; nothing when the topic is another.
std::optional<std::string> Between(const std::string& topic, const std::string& begin, const std::string& end) {
    if (topic.size() <= begin.size() + end.size() || !topic.starts_with(begin) || !topic.ends_with(end)) {
        return std::nullopt;
    }
    return topic.substr(begin.size(), topic.size() - begin.size() - end.size());
}

BusSetup SetupIn(const std::string& station, const ToldBus& bus) {
    BusSetup setup;
    setup.PortLabel = setup.PortPath = BusInFleet(station, bus.Name);
    setup.Every = bus.Every;
    for (const auto& device : bus.Devices)
        setup.Devices.push_back({device.Address, device.Model, device.Name, {}});
    return setup;
}

std::string OfflineText(const std::string& station) {
    return "the station " + station + " is offline";
}

/// Why its port does not work; empty when it does.
std::string FailureOf(const ToldBus& bus) {
    if (bus.PortWorks) return {};
    return bus.Sentence.empty() ? "its port does not work" : bus.Sentence;
}

}  // namespace

/// What a bus of a station is to those who listen to it here.
class Fleet::FleetBus : public SourceBus {
public:
    FleetBus(Fleet& fleet, BusSetup setup, Listener& listener, std::function<void()> ended)
        : m_Fleet(fleet), m_Setup(std::move(setup)), m_Listener(listener), m_Ended(std::move(ended)) {
        m_Fleet.m_Running[m_Setup.PortLabel] = this;
    }
    ~FleetBus() override { Leave(); }

    const BusSetup& Setup() const override { return m_Setup; }
    void Poll() override {
        TellIdentities();
        m_Fleet.TellState(m_Setup.PortLabel);
    }
    void Devices(const DeviceChanges& /*changes*/) override { TellIdentities(); }
    void Read(int /*address*/, ORVIXCNB1_VARS /*variable*/, const std::function<void(const Reading&)>& /*d*/) override {
        RefuseToAsk();
    }
    void Export(int /*address*/, std::int32_t /*format*/,
                const std::function<void(const DeviceFile&)>& /*d*/) override {
        RefuseToAsk();
    }
    void Close() override {
        Leave();
        m_Fleet.m_Home.Post(m_Ended);
    }

    Listener& Tells() { return m_Listener; }
    void TellIdentities() {
        const auto name = StationOfBus(m_Setup.PortLabel);
        const auto station = m_Fleet.m_Stations.find(name);
        if (station == m_Fleet.m_Stations.end()) return;
        const auto bus = station->second.Buses.find(m_Setup.PortLabel.substr(name.size() + 1));
        if (bus == station->second.Buses.end()) return;
        for (const auto& device : bus->second.Devices) {
            m_Listener.OnIdentity({.Port = m_Setup.PortLabel,
                                   .Address = device.Address,
                                   .Model = device.Model,
                                   .Name = device.Name,
                                   .SerialNumber = {},
                                   .Identifier = DeviceInFleet(name, device.Id),
                                   .Remark = {}});
        }
    }

private:
    void Leave() {
        const auto self = m_Fleet.m_Running.find(m_Setup.PortLabel);
        if (self != m_Fleet.m_Running.end() && self->second == this) m_Fleet.m_Running.erase(self);
    }
    [[noreturn]] void RefuseToAsk() const {
        throw Error(errors::General,
                    "the device is read by the station " + StationOfBus(m_Setup.PortLabel) + ": ask there");
    }

    Fleet& m_Fleet;
    const BusSetup m_Setup;
    Listener& m_Listener;
    const std::function<void()> m_Ended;
};

Fleet::Fleet(std::string base, Apartment& home, Wishes wishes)
    : m_Begin(std::move(base) + "/"), m_Home(home), m_Wishes(std::move(wishes)) {}

Fleet::~Fleet() = default;

std::vector<MqttTopic> Fleet::FirstTopics() const {
    return {{m_Begin + "+/" + kStatusTopic}};
}

std::unique_ptr<SourceBus> Fleet::Open(const BusSetup& setup, Listener& listener, std::function<void()> ended) {
    return std::make_unique<FleetBus>(*this, setup, listener, std::move(ended));
}

Fleet::FleetBus* Fleet::Running(const std::string& busInFleet) const {
    const auto bus = m_Running.find(busInFleet);
    return bus == m_Running.end() ? nullptr : bus->second;
}

std::vector<BusSetup> Fleet::Setups() const {
    std::vector<BusSetup> setups;
    for (const auto& [name, station] : m_Stations) {
        for (const auto& [label, bus] : station.Buses)
            if (!bus.Devices.empty()) setups.push_back(SetupIn(name, bus));
    }
    return setups;
}

/// Of many changes at the same time one is told.
void Fleet::Change() {
    if (std::exchange(m_ChangeWaits, true)) return;
    m_Home.Post([self = std::weak_ptr<bool>(m_Lives), this] {
        if (self.expired()) return;
        m_ChangeWaits = false;
        m_Wishes.Changed();
        // What was told of a bus before it was one here.
        for (auto& [name, station] : m_Stations) {
            for (const auto& [topic, alarm] : station.Alarms)
                if (auto* bus = Running(alarm.Port)) bus->Tells().OnAlarm(alarm);
        }
    });
}

void Fleet::Hear(const std::vector<MqttHeard>& messages) {
    for (const auto& message : messages)
        HearOne(message);
}

void Fleet::HearOne(const MqttHeard& message) {
    if (!message.Topic.starts_with(m_Begin)) return;
    const auto rest = message.Topic.substr(m_Begin.size());
    const auto level = rest.find('/');
    if (level == std::string::npos || level == 0) return;
    const auto name = rest.substr(0, level);
    const auto topic = rest.substr(level + 1);
    if (name.size() > kLongestToldName || Printable(name) != name) return;
    if (topic == kStatusTopic) return HearStatus(name, message.Payload);
    const auto found = m_Stations.find(name);
    if (found == m_Stations.end()) return;
    auto& station = found->second;
    try {
        if (topic.starts_with(kDevices)) HearOfDevice(name, station, topic, message);
        if (topic.starts_with(kBuses)) HearOfBus(name, station, topic, message);
    } catch (const Error& error) {
        if (std::exchange(station.IsToldBad, true)) return;
        // What is wrong may be cited.
        const auto what = (topic + ": " + error.Description).substr(0, kLongestComplaint);
        m_Wishes.Tell(name + ": what it says is not used: " + Printable(what));
    }
}

void Fleet::HearStatus(const std::string& name, const std::string& payload) {
    if (payload.empty()) return Forget(name);
    auto found = m_Stations.find(name);
    const bool isOnline = payload == kOnline;
    if (found == m_Stations.end()) {
        if (m_Stations.size() >= kMostStations) {
            if (!std::exchange(m_IsToldFull, true)) {
                m_Wishes.Tell(name + " and others are left out: there are more than " + std::to_string(kMostStations) +
                              " stations");
            }
            return;
        }
        found = m_Stations.try_emplace(name).first;
        const auto begin = m_Begin + name + "/";
        m_Wishes.Listen({{begin + kBuses + "#"},
                         {begin + AvailabilityTopic("+")},
                         {begin + AlarmTopic("+", "+")},
                         {begin + StateTopic("+"), true}});
    }
    auto& station = found->second;
    const auto before = std::exchange(station.IsOnline, isOnline);
    if (before == isOnline) return;
    if (!isOnline) {
        m_Wishes.Tell(name + " is offline");
        return Silence(name, station, OfflineText(name));
    }
    if (before) m_Wishes.Tell(name + " is online again");
    for (const auto& [label, bus] : station.Buses)
        TellPort(BusInFleet(name, label), FailureOf(bus));
}

/// An empty `failure`: the port works.
void Fleet::TellPort(const std::string& busInFleet, const std::string& failure) {
    auto* bus = Running(busInFleet);
    if (bus == nullptr) return;
    LineEvent event{.Time = m_Home.Now(), .Port = busInFleet};
    event.What = failure.empty() ? LineEvent::Kind::Opened : LineEvent::Kind::Failed;
    event.Reason = failure;
    bus->Tells().OnLine(event);
}

void Fleet::TellState(const std::string& busInFleet) {
    const auto name = StationOfBus(busInFleet);
    const auto station = m_Stations.find(name);
    if (station == m_Stations.end() || !station->second.IsOnline) return;
    const auto bus = station->second.Buses.find(busInFleet.substr(name.size() + 1));
    if (bus == station->second.Buses.end()) return;
    TellPort(busInFleet, *station->second.IsOnline ? FailureOf(bus->second) : OfflineText(name));
}

void Fleet::Silence(const std::string& name, Station& station, const std::string& why) {
    for (const auto& [label, told] : station.Buses) {
        auto* bus = Running(BusInFleet(name, label));
        if (bus == nullptr) continue;
        TellPort(bus->Setup().PortLabel, why);
        for (const auto& device : told.Devices)
            bus->Tells().OnLost(IdOf(bus->Setup().PortLabel, device.Address));
    }
}

void Fleet::Lose(const std::string& why) {
    for (auto& [name, station] : m_Stations) {
        station.IsOnline.reset();
        for (const auto& [label, bus] : station.Buses)
            TellPort(BusInFleet(name, label), why);
    }
}

void Fleet::Forget(const std::string& name) {
    if (m_Stations.erase(name) > 0) Change();
}

void Fleet::HearOfDevice(const std::string& name, Station& station, const std::string& topic,
                         const MqttHeard& message) {
    // A reading that the broker has kept may be of any time.
    if (const auto id = Between(topic, kDevices, kStateEnd); id && !message.WasKept) {
        return HearReading(name, station, *id, message.Payload);
    }
    const auto id = Between(topic, kDevices, kAvailabilityEnd);
    if (id && message.Payload == kOffline) {
        const auto place = station.Places.find(*id);
        if (place == station.Places.end()) return;
        const auto label = BusInFleet(name, place->second.Bus);
        if (auto* bus = Running(label)) bus->Tells().OnLost(IdOf(label, place->second.Address));
    }
    if (topic.find(kAlarmPart) != std::string::npos) HearAlarm(name, station, topic, message);
}

void Fleet::HearReading(const std::string& name, Station& station, const std::string& id, const std::string& payload) {
    auto told = ReadingIn(payload);
    auto& reading = told.Taken;
    if (reading.Identifier != id) throw Error(errors::General, "it is of another device, " + reading.Identifier);
    const auto place = station.Places.find(id);
    // One that has just been added, or moved, is listed soon.
    if (place == station.Places.end() || place->second.Bus != reading.Port || place->second.Address != reading.Address)
        return;
    if (!station.Order.IsNews(id, told.Session, told.Seq)) {
        if (!std::exchange(station.IsToldOld, true)) {
            m_Wishes.Tell(
                name +
                ": readings that came before, or are older, are not shown; are there two stations of this name?");
        }
        return;
    }
    reading.Port = BusInFleet(name, reading.Port);
    reading.Identifier.clear();
    auto* bus = Running(reading.Port);
    if (bus == nullptr) return;
    bus->Tells().OnLine({.Time = m_Home.Now(), .Port = reading.Port, .What = LineEvent::Kind::Waited});
    bus->Tells().OnReading(reading);
}

void Fleet::HearAlarm(const std::string& name, Station& station, const std::string& topic, const MqttHeard& message) {
    const auto known = station.Alarms.find(topic);
    const auto told = message.Payload.empty() ? std::nullopt : AlarmIn(message.Payload);
    AlarmEvent alarm;
    if (!told) {
        // What it was of is no longer there, or it has never been on.
        if (known == station.Alarms.end()) return;
        alarm = known->second;
        alarm.What = AlarmChange::Ended;
        alarm.Withdrawn = true;
    } else {
        alarm = *told;
        const auto expected =
            alarm.Identifier.empty() ? BusAlarmTopic(alarm.Port) : AlarmTopic(alarm.Identifier, alarm.KindText());
        if (topic != expected) throw Error(errors::General, "it is another alarm than its topic says");
        alarm.Port = BusInFleet(name, alarm.Port);
        if (!alarm.Identifier.empty()) alarm.Identifier = DeviceInFleet(name, alarm.Identifier);
        if (message.WasKept && alarm.What == AlarmChange::Started) alarm.What = AlarmChange::Continued;
    }
    if (alarm.IsOn() && known == station.Alarms.end() && station.Alarms.size() >= kMostAlarms) {
        throw Error(errors::General, "there are more than " + std::to_string(kMostAlarms) + " alarms");
    }
    if (alarm.IsOn()) {
        station.Alarms[topic] = alarm;
    } else {
        station.Alarms.erase(topic);
    }
    if (auto* bus = Running(alarm.Port)) bus->Tells().OnAlarm(alarm);
}

void Fleet::HearOfBus(const std::string& name, Station& station, const std::string& topic, const MqttHeard& message) {
    if (const auto level = Between(topic, kBuses, kHealthEnd)) {
        HearHealth(name, station, *level, message.Payload);
    } else if (topic.find(kAlarmPart) != std::string::npos) {
        HearAlarm(name, station, topic, message);
    }
}

void Fleet::HearHealth(const std::string& name, Station& station, const std::string& level,
                       const std::string& payload) {
    const auto isSame = [&](const auto& bus) { return BusHealthTopic(bus.first) == kBuses + level + kHealthEnd; };
    if (payload.empty()) {
        if (std::erase_if(station.Buses, isSame) > 0) Change();
        std::erase_if(station.Places, [&](const auto& one) { return !station.Buses.contains(one.second.Bus); });
        return;
    }
    auto bus = BusIn(payload);
    if (BusHealthTopic(bus.Name) != kBuses + level + kHealthEnd)
        throw Error(errors::General, "it is of another bus, " + bus.Name);
    if (!station.Buses.contains(bus.Name) && station.Buses.size() >= kMostBuses) {
        throw Error(errors::General, "there are more than " + std::to_string(kMostBuses) + " buses");
    }
    TakeBus(name, station, std::move(bus));
}

void Fleet::TakeBus(const std::string& name, Station& station, ToldBus bus) {
    auto& known = station.Buses[bus.Name];
    const bool isSame = known.Every == bus.Every &&
                        std::ranges::equal(known.Devices, bus.Devices, [](const ToldDevice& a, const ToldDevice& b) {
                            return a.Id == b.Id && a.Address == b.Address && a.Model == b.Model && a.Name == b.Name;
                        });
    known = std::move(bus);
    const auto label = BusInFleet(name, known.Name);
    if (station.IsOnline.value_or(false)) TellPort(label, FailureOf(known));
    if (isSame) return;
    std::erase_if(station.Places, [&](const auto& one) { return one.second.Bus == known.Name; });
    for (const auto& device : known.Devices)
        station.Places[device.Id] = {known.Name, device.Address};
    if (auto* running = Running(label)) running->TellIdentities();
    Change();
}

Fleet::Sentences Fleet::SentencesOf(const std::string& busInFleet) const {
    const auto name = StationOfBus(busInFleet);
    const auto station = m_Stations.find(name);
    if (station == m_Stations.end()) return {};
    const auto bus = station->second.Buses.find(busInFleet.substr(name.size() + 1));
    if (bus == station->second.Buses.end()) return {};
    Sentences all;
    const auto isOnline = station->second.IsOnline;
    if (!isOnline) all.OfBus = "nothing is heard of the station: the broker cannot be reached";
    if (isOnline == false) all.OfBus = "the station is offline";
    if (!all.OfBus.empty()) return all;
    all.OfBus = bus->second.Sentence;
    for (const auto& device : bus->second.Devices)
        if (!device.Sentence.empty()) all.OfDevice[device.Address] = device.Sentence;
    return all;
}

}  // namespace orvix::station
