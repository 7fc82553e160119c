#include "station/model/local_time.h"

#include <ctime>

namespace orvix::station {
namespace {

constexpr std::int64_t kMinute = 60'000;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

std::int64_t FloorTo(std::int64_t step, std::int64_t time) {
    return time - ((time % step) + step) % step;
}

std::tm LocalOf(std::int64_t time) {
    const std::time_t seconds = FloorTo(1000, time) / 1000;
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return local;
}

bool IsSameDay(const std::tm& a, const std::tm& b) {
    return a.tm_year == b.tm_year && a.tm_yday == b.tm_yday;
}

/// The first minute that has the date. Midnight may come twice or not at all, so it is looked for from the offset that
/// holds at the time: what is left are some hours of difference.
std::int64_t BeginOfDay(std::int64_t time) {
    const auto day = LocalOf(time);
    const auto offset = std::int64_t{day.tm_gmtoff} * 1000;
    auto begin = FloorTo(kDay, time + offset) - offset;
    constexpr std::int64_t kStep = 15 * kMinute;
    while (!IsSameDay(LocalOf(begin), day))
        begin += kStep;
    while (IsSameDay(LocalOf(begin - 1), day))
        begin -= kStep;
    return begin;
}

}  // namespace

std::int64_t BeginOf(CalendarSpan span, std::int64_t time) {
    if (span == CalendarSpan::Minute) return FloorTo(kMinute, time);
    if (span == CalendarSpan::Day) return BeginOfDay(time);
    const auto offset = std::int64_t{LocalOf(time).tm_gmtoff} * 1000;
    return FloorTo(kHour, time + offset) - offset;
}

std::int64_t EndOf(CalendarSpan span, std::int64_t time) {
    const auto begin = BeginOf(span, time);
    if (span == CalendarSpan::Minute) return begin + kMinute;
    if (span == CalendarSpan::Hour) return begin + kHour;
    // Later than the end of this day and earlier than the end of the next one.
    return BeginOfDay(begin + 28 * kHour);
}

}  // namespace orvix::station
