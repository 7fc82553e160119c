#include "station/report/plot_scale.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>

#include "host/date.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

// Of time, in seconds.
constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kTimeSteps[] = {1,        2,           5,           10,           15,           30,
                                       kMinute,  2 * kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute, 30 * kMinute,
                                       kHour,    2 * kHour,   3 * kHour,   6 * kHour,    12 * kHour,   kDay,
                                       2 * kDay, 7 * kDay,    14 * kDay,   30 * kDay,    90 * kDay,    365 * kDay};

double NiceStep(double span, int most) {
    const double rough = span / most;
    const double power = std::pow(10, std::floor(std::log10(rough)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (rough <= factor * power * (1 + 1e-9)) return factor * power;
    }
    return 10 * power;
}

std::int64_t Seconds(double days) {
    return std::llround(days * static_cast<double>(kDay));
}

std::int64_t TimeStep(std::int64_t span, int most) {
    for (const auto step : kTimeSteps) {
        if (span / step <= most) return step;
    }
    const auto largest = *std::rbegin(kTimeSteps);
    return largest * (span / largest / most + 1);
}

}  // namespace

std::vector<Tick> NumberTicks(double low, double high, int most) {
    // A curve without any height is shown in the middle.
    if (high - low < 1e-6 * std::max({1.0, std::fabs(high), std::fabs(low)})) {
        const double margin = std::max(0.5, 1e-3 * std::fabs(high));
        low -= margin;
        high += margin;
    }
    const double step = NiceStep(high - low, most);
    const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    const double first = std::floor(low / step + 1e-9);
    const auto steps = std::lround(std::ceil(high / step - 1e-9) - first);
    std::vector<Tick> ticks;
    for (long i = 0; i <= steps; ++i) {
        const double value = (first + static_cast<double>(i)) * step + 0.0;  // adding zero takes the sign off -0
        ticks.push_back({value, FixedText(value, decimals), {}});
    }
    return ticks;
}

std::vector<Tick> TimeTicks(double begin, double end, int most) {
    const std::int64_t from = Seconds(begin);
    const std::int64_t to = Seconds(end);
    const std::int64_t step = TimeStep(to - from, most);
    const bool withinDays = step < kDay;
    const char* const clock = step < kMinute ? "hh:nn:ss" : "hh:nn";
    std::vector<Tick> ticks;
    std::string shownDay;
    for (std::int64_t at = (from + step - 1) / step * step; at <= to; at += step) {
        const Date date{static_cast<double>(at) / static_cast<double>(kDay)};
        const std::string day = Format(date, "dd/mm/yyyy");
        Tick tick{date.Days, withinDays ? Format(date, clock) : Format(date, "dd/mm/yy"), {}};
        if (withinDays && day != shownDay) tick.Day = shownDay = day;
        ticks.push_back(tick);
    }
    return ticks;
}

}  // namespace orvix::station
