#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "station/model/device_identity.h"
#include "station/model/device_setup.h"

namespace orvix::station {

// What Home Assistant is told of a station and its devices, in messages that the broker keeps. What is told of a device
// follows it by its id alone: a new name, port or address changes no entity. An empty payload on the same topic takes
// the device away with all its entities.

/// A station as its broker knows it.
struct DiscoveredStation {
    std::string Prefix;  ///< of all messages; "homeassistant" unless configured
    std::string Base;    ///< levels before the station's
    std::string Name;    ///< level of the station
};

struct DiscoveredDevice {
    DeviceIdentity Identity;  ///< with its id; its name may be empty: the model's description
    AlarmLimits Limits;
    std::chrono::seconds ExpireAfter{0};  ///< without a message for so long its values are shown no more
};

/// An alarm that a device can have.
struct DeviceAlarm {
    std::string Kind;  ///< as AlarmEvent::KindText
    bool IsConfigured;
};

std::vector<DeviceAlarm> AlarmsOf(std::int32_t model, const AlarmLimits& limits);

/// Where Home Assistant says kBirth when it was started.
std::string BirthTopic(const std::string& prefix);
inline constexpr char kBirth[] = "online";

/// Topic of a device's message; of the station's own for an empty id.
std::string DiscoveryTopic(const DiscoveredStation& station, const std::string& id);
/// The station, with its connection.
std::string DiscoveryPayload(const DiscoveredStation& station);
/// Its temperature or eight inputs, a problem for each alarm that it may have, and diagnostics. Inputs that no alarm
/// watches are disabled when there are some that are watched. Alarms that it cannot have any more are taken away.
std::string DiscoveryPayload(const DiscoveredStation& station, const DiscoveredDevice& device);

}  // namespace orvix::station
