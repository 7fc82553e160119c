#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "station/model/reading.h"

namespace orvix::tests {

/// One of a temperature sensor called "Oven", whose identifier is made of its address. `time` is milliseconds since
/// 1970.
inline station::Reading ReadingAt(std::int64_t time, std::string port, int address, station::ReadingValue value = {}) {
    return {.UnixMilliseconds = time,
            .Port = std::move(port),
            .Address = address,
            .Model = 106,
            .Name = "Oven",
            .Identifier = "d" + std::to_string(address),
            .Variable = "temperature",
            .Value = std::move(value),
            .Error = {},
            .LastGood = {}};
}

}  // namespace orvix::tests
