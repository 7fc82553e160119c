#include "station/model/history_time.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <optional>
#include <string_view>
#include <vector>

#include "host/error.h"

namespace orvix::station {
namespace {

struct Unit {
    char Name;
    double Milliseconds;
};

constexpr Unit kUnits[] = {{'s', 1e3}, {'m', 60e3}, {'h', 3600e3}, {'d', 86400e3}};

constexpr double kLongest = 100 * 366 * 86400e3;

std::optional<std::int64_t> Ago(std::string_view text) {
    for (const auto& unit : kUnits) {
        if (!text.ends_with(unit.Name)) continue;
        double count = 0;
        const auto* end = text.data() + text.size() - 1;
        const auto read = std::from_chars(text.data(), end, count);
        const double milliseconds = count * unit.Milliseconds;
        if (read.ec != std::errc() || read.ptr != end || !(milliseconds >= 0 && milliseconds <= kLongest)) break;
        return std::llround(milliseconds);
    }
    return std::nullopt;
}

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
    for (const char* form : {"dddd-dd-dd", "dddd-dd-ddTdd:dd", "dddd-dd-ddTdd:dd:dd"}) {
        auto numbers = NumbersOf(text, form);
        if (!numbers) continue;
        numbers->resize(6);
        const auto& n = *numbers;
        const year_month_day date{year{n[0]}, month{static_cast<unsigned>(n[1])}, day{static_cast<unsigned>(n[2])}};
        if (!date.ok() || n[3] > 23 || n[4] > 59 || n[5] > 59) return std::nullopt;
        const auto time = sys_days(date) + hours(n[3]) + minutes(n[4]) + seconds(n[5]);
        return duration_cast<milliseconds>(time.time_since_epoch()).count();
    }
    return std::nullopt;
}

}  // namespace

std::int64_t ParseHistoryTime(const std::string& text, std::int64_t now) {
    if (const auto ago = Ago(text)) return now - *ago;
    if (const auto when = When(text)) return *when;
    throw Error(errors::General, "'" + text +
                                     "' is no time: write how long ago, such as 15m, 2h or 30d, or when in UTC, "
                                     "such as 2026-11-22T10:00");
}

}  // namespace orvix::station
