#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "station/store/figures.h"

namespace orvix::station {

inline constexpr std::int64_t kMinute = 60'000;
inline constexpr std::int64_t kHour = 60 * kMinute;

/// So long inputs hold at most without a reading.
inline constexpr std::int64_t kLongestHold = 24 * kHour;

/// The figures of a minute. Minutes are counted since 1970, UTC.
struct MinuteFigures {
    std::int64_t Minute = 0;
    station::Figures Figures;
};

/// Makes minutes, or other spans, of the readings of one variable of one device, which come in the order of their
/// times; a few may come late as long as the minute is the same. Times are milliseconds since 1970.
///
/// The state of inputs holds from a good reading to the next one, or until a reading that fails or is doubtful.
class RollUp {
public:
    /// `span`: the length of what is called a minute here, in milliseconds.
    explicit RollUp(bool isInputs, std::int64_t longestHold = kLongestHold, std::int64_t span = kMinute)
        : m_IsInputs(isInputs), m_LongestHold(longestHold), m_Span(span) {}

    void AddGood(std::int64_t time, double value);
    void AddDoubtful(std::int64_t time);
    void AddFailed(std::int64_t time);
    /// No reading follows; the minute that has begun is complete.
    void End(std::int64_t time);

    /// Whether a reading of that time comes too late for its minute.
    bool IsBehind(std::int64_t time) const { return time / m_Span < m_Minute; }
    /// The complete minutes since the last call; those without readings are left out.
    std::vector<MinuteFigures> TakeComplete();
    /// The time up to which all minutes are complete.
    std::int64_t CompleteUntil() const { return m_Minute * m_Span; }

private:
    void GoTo(std::int64_t time);
    void Hold(std::int64_t until);

    const bool m_IsInputs;
    const std::int64_t m_LongestHold;
    const std::int64_t m_Span;
    std::int64_t m_Minute = 0;
    Figures m_Figures;
    std::vector<MinuteFigures> m_Complete;
    std::optional<unsigned> m_Held;  ///< inputs that hold
    std::int64_t m_HeldSince = 0;
};

}  // namespace orvix::station
