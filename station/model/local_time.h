#pragma once

#include <cstdint>

namespace orvix::station {

enum class CalendarSpan { Minute, Hour, Day };

/// Begin of the minute, hour or day of local time in which a time lies. Days have 23 to 25 hours where clocks are
/// changed, and an hour that comes twice is two hours. Times are milliseconds since 1970.
std::int64_t BeginOf(CalendarSpan span, std::int64_t time);
/// Begin of the one after it.
std::int64_t EndOf(CalendarSpan span, std::int64_t time);

}  // namespace orvix::station
