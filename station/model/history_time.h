#pragma once

#include <cstdint>
#include <string>

namespace orvix::station {

/// A time as people write it: how long ago, as ParseTimeSpan reads it, or when, in UTC ("2026-11-22",
/// "2026-11-22T10:00", "2026-11-22T10:00:30", "2026-11-22T10:00:30.250", also with a blank for the T and with a Z at
/// the end; "09:30" for the latest time that the clock showed that). `now` and the result are milliseconds since 1970.
/// Raises General for any other text.
std::int64_t ParseHistoryTime(const std::string& text, std::int64_t now);

}  // namespace orvix::station
