#pragma once

#include <string>

#include "host/apartment.h"

namespace orvix::station {

/// A number with so many decimals.
std::string FixedText(double value, int decimals);
/// A share of 0 to 1 as percent with a decimal, without the sign: "99.2"; only a whole share is "100.0", only none
/// "0.0".
std::string PercentText(double share);
/// Milliseconds with a decimal below 10, without the unit.
std::string MillisecondsText(Duration time);
/// Whole units, the largest that it has two of: "250 ms", "90 s", "5 min", "3 h", "2 days".
std::string TimeText(Duration time);

}  // namespace orvix::station
