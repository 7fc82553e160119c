#pragma once

#include <chrono>
#include <cstdint>

namespace orvix::station {

/// The time of day, in milliseconds since 1970.
inline std::int64_t UnixMilliseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

}  // namespace orvix::station
