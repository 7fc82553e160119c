#pragma once

#include <array>
#include <cstdint>

#include "host/variant.h"

namespace orvix {

/// What a device reports of its mission: the fields that both kinds of mission have. Status images are packed and
/// little-endian, booleans 16 bits, 0 or -1; a digital image is the same up to offset 47.
///
///   offset  width  field
///        0      2  InProgress
///        2     10  reserved, zero
///       12      8  StartValue, 64-bit float
///       20      4  MissionSamples
///       24      8  reserved, zero
///       32      4  MaxSamples
///       36      2  RolloverOccurred
///       38      2  Rate
///       40      4  Delay
///       44      2  Rollover
///       46      2  Synchronize
///
///   temperature, 60 bytes            digital, 124 bytes
///       48      4  StatusValue           48      2  StatusValue
///       52      4  HighAlarm             50     18  Input, booleans 0 to 8 (1 to 8 used)
///       56      4  LowAlarm              68     56  reserved, zero
struct MissionStatus {
    bool InProgress = false;
    double StartValue = 0;  ///< device time of the mission's start
    std::int32_t MissionSamples = 0;
    std::int32_t MaxSamples = 0;
    bool RolloverOccurred = false;
    std::int16_t Rate = 0;  ///< sampling interval in minutes
    std::int32_t Delay = 0;
    bool Rollover = false;
    bool Synchronize = false;
};

struct TemperatureStatus {
    float StatusValue = 0;  ///< the last status value received
    float HighAlarm = 0;    ///< limits in degrees Celsius
    float LowAlarm = 0;
};

struct DigitalStatus {
    std::int16_t StatusValue = 0;  ///< the input byte
    std::array<bool, 9> Input{};   ///< element i + 1 is bit i
};

/// The packed image of a status, as laid out above.
ByteArray PackedImage(const MissionStatus& status, const TemperatureStatus& tail);
ByteArray PackedImage(const MissionStatus& status, const DigitalStatus& tail);

}  // namespace orvix
