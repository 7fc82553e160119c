#pragma once

#include <cstdint>
#include <string>

#include "host/apartment.h"
#include "host/variant.h"
#include "soak/counts.h"
#include "soak/random.h"
#include "tests/support/scripted_line.h"

namespace orvix::soak {

/// What a device measures tells which it is and when it measured.
struct Measurement {
    int Address;
    std::int32_t Model;

    /// Payload of its reply at that time.
    std::string At(Duration now) const;
    /// Whether a value could have been measured in the last seconds.
    bool Fits(const Variant& value, Duration now) const;
};

/// The devices of a soak's bus. Their addresses avoid what the protocol cannot tell: inputs C9 look like a refusal
/// (address 12), and one byte too many goes unnoticed when a frame's outer checksum is 03, an end byte (sensor 11,
/// module 6).
inline constexpr Measurement kFleet[] = {{1, 106}, {2, 106}, {3, 106}, {4, 106},  {5, 106},  {6, 106},
                                         {7, 106}, {8, 106}, {9, 104}, {10, 104}, {13, 104}, {14, 104}};

/// What becomes of a request, and for how long the port is gone afterwards when the line hangs up.
struct Outcome {
    tests::Response Line;
    Duration Gone{0};
};

/// Devices on a line that is faulty now and then. No more than one byte of a reply is wrong at a time, since two can
/// cancel out in a checksum of one byte.
class FaultyDevices {
public:
    FaultyDevices(std::uint32_t seed, Counts& counts) : m_Random(seed), m_Counts(counts) {}

    Outcome Answer(const std::string& request, Duration now);

private:
    Random m_Random;
    Counts& m_Counts;
    /// Until then a late reply is on its way; what comes meanwhile is whole, so that the two do not mix.
    Duration m_LateUntil{0};
};

}  // namespace orvix::soak
