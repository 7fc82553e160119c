#pragma once

#include <compare>
#include <string>
#include <utility>

namespace orvix::station {

/// A device among all that a station hears of. What is kept of devices is kept by this, so that what two stations call
/// the same is two devices.
struct DeviceId {
    std::string Station;  ///< empty: this one
    std::string Port;
    int Address = 0;  ///< 0: the port itself

    auto operator<=>(const DeviceId&) const = default;
};

/// A device of this station, or with address 0 one of its ports.
inline DeviceId IdOf(std::string port, int address) {
    return {{}, std::move(port), address};
}

}  // namespace orvix::station
