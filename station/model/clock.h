#pragma once

#include <cstdint>
#include <string>

#include "host/date.h"

namespace orvix::station {

/// The time of day, in milliseconds since 1970.
std::int64_t UnixMilliseconds();
/// The same of a date, to the nearest.
std::int64_t UnixMillisecondsOf(Date date);
/// "2026-11-22T19:12:03.120Z".
std::string IsoText(std::int64_t unixMilliseconds);
void AppendIsoText(std::string& text, std::int64_t unixMilliseconds);
/// "19:12:03", UTC.
std::string ClockText(std::int64_t unixMilliseconds);

}  // namespace orvix::station
