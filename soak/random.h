#pragma once

#include <cstdint>
#include <random>

namespace orvix::soak {

using Random = std::mt19937;

/// A number from 0 to below `end`.
inline std::uint32_t Draw(Random& random, std::uint32_t end) {
    return std::uniform_int_distribution<std::uint32_t>(0, end - 1)(random);
}

inline bool OneIn(Random& random, std::uint32_t cases) {
    return Draw(random, cases) == 0;
}

}  // namespace orvix::soak
