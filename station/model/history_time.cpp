#include "station/model/history_time.h"

#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

#include "host/error.h"
#include "station/words/time_span.h"

namespace orvix::station {
namespace {

/// Digits where the form has a "d", the form's own characters elsewhere. Returns the numbers.
std::optional<std::vector<int>> NumbersOf(std::string_view text, std::string_view form) {
    if (text.size() != form.size()) return std::nullopt;
    std::vector<int> numbers;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (form[i] != 'd') {
            if (text[i] != form[i]) return std::nullopt;
            continue;
        }
        if (text[i] < '0' || text[i] > '9') return std::nullopt;
        if (i == 0 || form[i - 1] != 'd') numbers.push_back(0);
        numbers.back() = 10 * numbers.back() + (text[i] - '0');
    }
    return numbers;
}

std::optional<std::int64_t> When(std::string text) {
    using namespace std::chrono;
    if (text.ends_with('Z')) text.pop_back();
    if (text.size() > 10 && text[10] == ' ') text[10] = 'T';
    for (const char* form : {"dddd-dd-dd", "dddd-dd-ddTdd:dd", "dddd-dd-ddTdd:dd:dd", "dddd-dd-ddTdd:dd:dd.ddd"}) {
        auto numbers = NumbersOf(text, form);
        if (!numbers) continue;
        numbers->resize(7);
        const auto& n = *numbers;
        const year_month_day date{year{n[0]}, month{static_cast<unsigned>(n[1])}, day{static_cast<unsigned>(n[2])}};
        if (!date.ok() || n[3] > 23 || n[4] > 59 || n[5] > 59) return std::nullopt;
        const auto time = sys_days(date) + hours(n[3]) + minutes(n[4]) + seconds(n[5]) + milliseconds(n[6]);
        return duration_cast<milliseconds>(time.time_since_epoch()).count();
    }
    return std::nullopt;
}

std::optional<std::int64_t> LatestTimeOfDay(std::string_view text, std::int64_t now) {
    constexpr std::int64_t minute = 60'000;
    constexpr std::int64_t hour = 60 * minute;
    constexpr std::int64_t day = 24 * hour;
    for (const char* form : {"dd:dd", "d:dd"}) {
        const auto numbers = NumbersOf(text, form);
        if (!numbers) continue;
        const auto& n = *numbers;
        if (n[0] > 23 || n[1] > 59) return std::nullopt;
        const auto time = now - now % day + n[0] * hour + n[1] * minute;
        return time > now ? time - day : time;
    }
    return std::nullopt;
}

}  // namespace

std::int64_t ParseHistoryTime(const std::string& text, std::int64_t now) {
    if (const auto ago = ParseTimeSpan(text)) return now - ago->count();
    if (const auto when = When(text)) return *when;
    if (const auto time = LatestTimeOfDay(text, now)) return *time;
    throw Error(errors::General,
                "'" + text +
                    "' is not a time: write how long ago, such as 15m, 2h, 30d or 1h30m, or when in UTC, "
                    "such as 09:30, 2026-11-22 or 2026-11-22T10:00");
}

}  // namespace orvix::station
