#include "station/model/clock.h"

#include <array>
#include <chrono>
#include <cmath>

namespace orvix::station {

std::int64_t UnixMilliseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::int64_t UnixMillisecondsOf(Date date) {
    constexpr double kMillisecondsPerDay = 86'400'000;
    static const double epoch = FromUnixMilliseconds(0).Days;
    return std::llround((date.Days - epoch) * kMillisecondsPerDay);
}

std::string IsoText(std::int64_t unixMilliseconds) {
    std::string text;
    AppendIsoText(text, unixMilliseconds);
    return text;
}

void AppendIsoText(std::string& text, std::int64_t unixMilliseconds) {
    using namespace std::chrono;
    const sys_time<milliseconds> time{milliseconds(unixMilliseconds)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    const auto append = [&](int number, int digits, char end) {
        std::array<char, 6> field{};
        field[static_cast<std::size_t>(digits)] = end;
        for (auto i = static_cast<std::size_t>(digits); i-- > 0; number /= 10)
            field[i] = static_cast<char>('0' + number % 10);
        text.append(field.data(), static_cast<std::size_t>(digits) + 1);
    };
    append(int(date.year()), 4, '-');
    append(static_cast<int>(unsigned(date.month())), 2, '-');
    append(static_cast<int>(unsigned(date.day())), 2, 'T');
    append(static_cast<int>(clock.hours().count()), 2, ':');
    append(static_cast<int>(clock.minutes().count()), 2, ':');
    append(static_cast<int>(clock.seconds().count()), 2, '.');
    append(static_cast<int>(clock.subseconds().count()), 3, 'Z');
}

std::string ClockText(std::int64_t unixMilliseconds) {
    return Format(FromUnixMilliseconds(unixMilliseconds), "hh:nn:ss");
}

}  // namespace orvix::station
