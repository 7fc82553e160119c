#pragma once

#include <concepts>
#include <string>

#include "host/apartment.h"

namespace orvix::station {

/// A number with so many decimals.
std::string FixedText(double value, int decimals);
/// A share of 0 to 1 as percent with a decimal, without the sign: "99.2"; only a whole share is "100.0", only none
/// "0.0".
std::string PercentText(double share);
/// "1 time", "3 times"; `many` is for a word whose plural is not made with an s.
std::string Counted(std::integral auto count, const std::string& one, const std::string& many = {}) {
    return std::to_string(count) + " " + (count == 1 ? one : many.empty() ? one + "s" : many);
}

/// Milliseconds with a decimal below 10, without the unit.
std::string MillisecondsText(Duration time);
/// To two units and whole seconds: "850 ms", "12 s", "2 min 5 s", "3 h 5 min", "2 d 4 h".
std::string DurationText(Duration time);
/// In one unit, the largest that it has two of: "850 ms", "90 s", "5 min", "3 h", "2 d".
std::string RoughText(Duration time);
/// For a narrow column, in the largest unit alone: "now" below 1.5 s, "12 s", "1 min", "3 h", "2 d".
std::string AgeText(Duration age);

}  // namespace orvix::station
