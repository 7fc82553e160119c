#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "devices/protocol/bus_line.h"
#include "station/model/device_setup.h"

namespace orvix::station {

// Bounds of what people may choose for a bus.
inline constexpr std::chrono::milliseconds kShortestPeriod{100};
inline constexpr std::int32_t kMostRetries = 100;
inline constexpr std::int32_t kLongestTimeoutFactor = 10000;

/// An answer is waited for as long. `timeoutFactor`: per-character time factor of an exchange, milliseconds.
inline std::chrono::milliseconds ReplyLimit(std::int32_t timeoutFactor) {
    return std::chrono::milliseconds(kReplyTimeFactors * timeoutFactor);
}

/// Which temperatures are believed.
struct Plausibility {
    double Low = -40;               ///< degrees Celsius
    double High = 85;               ///< degrees Celsius
    std::optional<double> MaxStep;  ///< degrees between two readings; nothing: any

    bool operator==(const Plausibility&) const = default;
};

/// Failed readings in a row, from which on a device has stopped answering.
inline constexpr int kFailuresUntilOffline = 3;

/// What people call the port of a bus that is simulated.
inline constexpr char kSimulatedPort[] = "simulated";

/// What a bus is and how it is to be used.
struct BusSetup {
    std::string PortLabel;        ///< what people call the port
    std::string PortPath;         ///< its device file; empty: a simulated bus
    std::int16_t PortNumber = 1;  ///< its number in variable tags
    std::vector<DeviceSetup> Devices;
    std::chrono::milliseconds Every{1000};
    std::int32_t Retries = 3;
    std::int32_t TimeoutFactor = 10;  ///< per-character time factor of an exchange, milliseconds
    /// Every device is read once a period, and nothing else is asked. Else those that do not answer are asked less
    /// often, and all for their serial numbers.
    bool PlainPolling = false;
    Plausibility Plausible;
    bool Debug = false;
    bool DriverThread = false;  ///< the driver runs on a thread of its own, not on the bus's
    bool Trace = false;         ///< write a trace into the folder Log of the data folder

    /// An answer is waited for as long.
    std::chrono::milliseconds ReplyLimit() const { return station::ReplyLimit(TimeoutFactor); }
    /// The time in which all attempts of an exchange fit.
    std::chrono::milliseconds LongestExchange() const {
        return (Retries + 1) * (ReplyLimit() + std::chrono::milliseconds(300)) + std::chrono::milliseconds(500);
    }

    std::chrono::milliseconds PortGone{0};  ///< a port that has failed for so long is an alarm; 0: never

    bool operator==(const BusSetup&) const = default;
};

}  // namespace orvix::station
