#pragma once

#include <chrono>
#include <cstdint>

#include "soak/counts.h"

namespace orvix::soak {

/// One bus in virtual time for so long. The same seed gives the same run.
Part RunVirtual(std::chrono::minutes time, bool driverApart, std::uint32_t seed);

/// Adapter and driver in virtual time, with everything that a host and a driver can do at random, until so many events
/// have passed. The same seed gives the same run.
Part RunModel(std::uint64_t events, bool driverApart, std::uint32_t seed);

/// Two buses in real time over pseudo-terminals, the second with its driver on a thread of its own.
Part RunReal(std::chrono::seconds time, std::uint32_t seed);

}  // namespace orvix::soak
