#pragma once

#include <chrono>
#include <cstdint>

#include "soak/counts.h"

namespace orvix::soak {

/// One bus in virtual time for so long. The same seed gives the same run.
Part RunVirtual(std::chrono::minutes time, bool driverApart, std::uint32_t seed);

/// Two buses in real time over pseudo-terminals, the second with its driver on a thread of its own.
Part RunReal(std::chrono::seconds time, std::uint32_t seed);

}  // namespace orvix::soak
