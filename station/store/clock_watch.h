#pragma once

#include <cstdint>
#include <optional>

namespace orvix::station {

/// The clocks of the machine at one moment, in milliseconds.
struct ClockTimes {
    std::int64_t Unix = 0;   ///< time of day, since 1970; may be set
    std::int64_t Boot = 0;   ///< since the machine started; never set
    std::int64_t Awake = 0;  ///< the same, without the times in which the machine slept
};

ClockTimes ReadClocks();

/// A clock that is set by more than this is no measure of age for a while; what is less is the work of a time service.
inline constexpr std::int64_t kClockStep = 60'000;

/// Why the time of day does not go on as it did.
struct Interruption {
    enum class Kind { Slept, ClockSet };

    Kind What = Kind::Slept;
    std::int64_t From = 0;  ///< time of day when all was still as before
    std::int64_t To = 0;    ///< time of day now
    std::int64_t Step = 0;  ///< by how much the clock was set; negative: back
};

/// Tells when the machine has slept and when its clock was set.
class ClockWatch {
public:
    /// What happened since the call before.
    std::optional<Interruption> Take(const ClockTimes& now);

private:
    std::optional<ClockTimes> m_Before;
};

}  // namespace orvix::station
