#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace orvix::station {

/// What the readings of one variable in a span of time come to.
struct Figures {
    std::int64_t Count = 0;  ///< good readings
    std::int64_t Doubtful = 0;

    // About good temperatures; meaningless while Count is 0.
    double Lowest = 0;
    double Highest = 0;
    double Sum = 0;

    // About inputs, in milliseconds.
    std::int64_t Observed = 0;       ///< time in which their state was known
    std::array<std::int64_t, 8> On;  ///< time in which input 1, 2 ... 8 was on

    Figures() : On{} {}

    bool IsEmpty() const { return Count == 0 && Doubtful == 0 && Observed == 0; }
    double Mean() const { return Sum / static_cast<double>(Count); }

    void Add(double value) {
        Lowest = Count == 0 ? value : std::min(Lowest, value);
        Highest = Count == 0 ? value : std::max(Highest, value);
        Sum += value;
        ++Count;
    }

    void Add(const Figures& other) {
        if (other.Count > 0) {
            Lowest = Count == 0 ? other.Lowest : std::min(Lowest, other.Lowest);
            Highest = Count == 0 ? other.Highest : std::max(Highest, other.Highest);
            Sum += other.Sum;
        }
        Count += other.Count;
        Doubtful += other.Doubtful;
        Observed += other.Observed;
        for (std::size_t input = 0; input < On.size(); ++input)
            On[input] += other.On[input];
    }
};

}  // namespace orvix::station
