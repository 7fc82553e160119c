#pragma once

#include <cstdint>
#include <optional>

namespace orvix::station {

/// Whether the time of day can be trusted to tell how old rows are. After a step of the clock, and after a start at a
/// time far from that of the newest row, it must first have run for a day without a step. Times are milliseconds.
class AgeRule {
public:
    /// `newest` is the time of the newest row; nothing when there is none.
    void Start(std::int64_t unixNow, std::int64_t bootNow, std::optional<std::int64_t> newest);
    void ClockWasSet(std::int64_t bootNow) { m_RestsUntil = bootNow + kRest; }
    bool Rests(std::int64_t bootNow) const { return bootNow < m_RestsUntil; }

private:
    static constexpr std::int64_t kRest = 86'400'000;

    std::int64_t m_RestsUntil = 0;
};

}  // namespace orvix::station
