#pragma once

#include <string>

namespace orvix::station {

// The topics of a station, below "BASE/STATION/". Ids of devices can stand in topics as they are.

inline constexpr char kStatusTopic[] = "status";
inline constexpr char kTestTopic[] = "test";  ///< of nimbo1 mqtt test
inline constexpr char kOnline[] = "online";
inline constexpr char kOffline[] = "offline";
/// What was recorded, in batches; and where others ask for them again.
inline constexpr char kHistoryTopic[] = "history";
inline constexpr char kHistoryWantedTopic[] = "history/wanted";

/// Begin of all topics of a device.
std::string DeviceTopics(const std::string& id);
std::string StateTopic(const std::string& id);
std::string AvailabilityTopic(const std::string& id);
/// `kind`: as AlarmEvent::KindText, whose spaces become "-".
std::string AlarmTopic(const std::string& id, const std::string& kind);

/// Begin of all topics of a bus. In its name, "%", "/", "+", "#" and what is not printable ASCII are written as "%" and
/// two hexadecimal digits for each byte.
std::string BusTopics(const std::string& bus);
std::string BusHealthTopic(const std::string& bus);
/// That its port is gone.
std::string BusAlarmTopic(const std::string& bus);

}  // namespace orvix::station
