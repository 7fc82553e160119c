#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace orvix::station {

/// A time span as people write it, for every option and every key: "500ms", "90s", "15m", "36h", "30d", "2w", "1y" (of
/// 365 days), with decimals ("1.5m"), and sums such as "1h30m", the largest unit first and each once. Rounded to
/// milliseconds; from nothing ("0s") to a hundred years. Nothing for any other text.
std::optional<std::chrono::milliseconds> ParseTimeSpan(std::string_view text);

/// What to say about any other text.
inline constexpr char kTimeSpanForm[] = "write a time such as 500ms, 90s, 15m, 36h, 30d, 2w, 1y or 1h30m";

inline constexpr std::chrono::hours kLongestTimeSpan{24 * 365 * 100};

}  // namespace orvix::station
