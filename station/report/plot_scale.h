#pragma once

#include <string>
#include <vector>

namespace orvix::station {

/// A mark on an axis.
struct Tick {
    double Value = 0;
    std::string Label;
    std::string Day;  ///< of a time axis: the day, where one begins; else empty
};

/// An axis of numbers around the values from `low` to `high`, both finite: it begins and ends at a tick. Steps are 1, 2
/// or 5 times a power of ten; there are at most `most` + 2 ticks and at least two.
std::vector<Tick> NumberTicks(double low, double high, int most);

/// Ticks of a time axis between two day numbers, at round times of day or days; at most `most` + 1 of them.
std::vector<Tick> TimeTicks(double begin, double end, int most);

}  // namespace orvix::station
