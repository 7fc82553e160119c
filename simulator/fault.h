#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace orvix::simulator {

enum class FaultKind {
    Drop,       ///< the device does not answer
    Delay,      ///< the answer comes later; later than the time-out it is too late
    Corrupt,    ///< one bit of the answer's payload or inner checksum is wrong
    Cut,        ///< the answer stops in the middle
    Refuse,     ///< the device refuses the command
    Noise,      ///< one to eight bytes that nobody has sent come before the answer
    Duplicate,  ///< a second device has the address: two answers follow each other, or run into each other
    Unplug,     ///< the port goes, and comes back
};

/// Something that goes wrong on a simulated bus.
struct Fault {
    FaultKind Kind = FaultKind::Drop;
    std::optional<int> Address;               ///< 1 to 255; none: every device
    double Rate = 1;                          ///< the part of the requests that it hits
    std::optional<int> Nth;                   ///< the one request that it hits, counted from 1
    std::chrono::milliseconds By{0};          ///< of Delay
    std::chrono::milliseconds After{10'000};  ///< of Unplug: from the start to the first time
    std::chrono::milliseconds For{3'000};     ///< of Unplug: how long the port is gone
    std::chrono::milliseconds Every{0};       ///< of Unplug: from each time to the next; 0: once
};

/// KIND[@ADDRESS][:NAME=VALUE]..., such as "drop@5:rate=10%", "delay:by=80ms", "corrupt@7:nth=3" or
/// "unplug:after=10s:for=3s:every=1m". Raises ArgumentError.
Fault ParseFault(const std::string& text);

/// The names of the kinds, "drop, delay, ...".
std::string FaultKindNames();

}  // namespace orvix::simulator
