#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvix::station {

/// When a device's readings are an alarm. Nothing set: never.
struct AlarmLimits {
    std::optional<double> Low;                 ///< degrees Celsius; below it is an alarm
    std::optional<double> High;                ///< degrees Celsius; above it is an alarm
    unsigned InputsOn = 0;                     ///< bit mask of the inputs that are an alarm when they are on
    unsigned InputsOff = 0;                    ///< bit mask of those that are an alarm when they are off
    int HoldOff = 1;                           ///< readings in a row that start or end an alarm; at least 1
    std::chrono::milliseconds HoldOffTime{0};  ///< for which they must reach back at least
    double Hysteresis = 0;                     ///< degrees by which a temperature must be within for an alarm to end
    std::chrono::milliseconds Silent{0};       ///< without a good value for so long is an alarm; 0: never
    std::chrono::milliseconds Doubtful{0};     ///< with doubtful values alone for so long is an alarm; 0: never

    bool operator==(const AlarmLimits&) const = default;
};

struct DeviceSetup {
    int Address = 0;
    std::int32_t Model = 0;
    std::string Name;  ///< empty: the model's description
    AlarmLimits Limits;
    /// What it is known to tell, empty for none; nothing: it is to be asked.
    std::optional<std::string> SerialNumber{};

    bool operator==(const DeviceSetup&) const = default;
};

/// The one at an address; null when there is none.
const DeviceSetup* DeviceAt(int address, const std::vector<DeviceSetup>& devices);
/// The one of the same address and model; null when there is none.
const DeviceSetup* SameDevice(const DeviceSetup& device, const std::vector<DeviceSetup>& devices);

/// How a bus's devices get from one list to another. A device of another model at the same address is removed and
/// added.
struct DeviceChanges {
    std::vector<int> Removed;
    std::vector<DeviceSetup> Added;
    std::vector<DeviceSetup> Renamed;
    std::vector<DeviceSetup> OtherLimits;
};

DeviceChanges ChangesBetween(const std::vector<DeviceSetup>& from, const std::vector<DeviceSetup>& to);

}  // namespace orvix::station
