#include "host/date.h"

#include <algorithm>
#include <cmath>

#include "host/error.h"
#include "host/text.h"
#include "host/variant.h"

namespace orvix {

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr double kMinutesPerDay = 1440.0;
constexpr double kMillisecondsPerDay = 86400000.0;
constexpr std::int64_t kUnixEpoch = 25569;        // 1970-01-01 as a day number
constexpr std::int64_t kFirstDay = -657434;       // 0100-01-01
constexpr std::int64_t kDayBehindLast = 2958466;  // 10000-01-01

[[noreturn]] void RaiseNoDate(std::string_view what) {
    throw Error(errors::TypeMismatch, "not a date: \"" + std::string(what) + '"');
}

[[noreturn]] void RaiseBeyondCalendar() {
    throw Error(errors::Overflow, "date outside the years 100 to 9999");
}

bool IsLeapYear(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int DaysInMonth(int year, int month) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[month - 1] + (month == 2 && IsLeapYear(year) ? 1 : 0);
}

// The calendar repeats every 400 years. Counting years from March puts the leap day at the end of the year, so that the
// days before a month follow from the month alone.
constexpr std::int64_t kDaysPerEra = 146097;
constexpr std::int64_t kEraToUnixEpoch = 719468;  // 0000-03-01 to 1970-01-01

std::int64_t DayNumber(int year, int month, int day) {
    const std::int64_t marchYear = month > 2 ? year : year - 1;
    const std::int64_t era = marchYear / 400;
    const std::int64_t yearOfEra = marchYear - era * 400;
    const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * kDaysPerEra + dayOfEra - kEraToUnixEpoch + kUnixEpoch;
}

void SetCalendarDay(CivilTime& time, std::int64_t dayNumber) {
    const std::int64_t days = dayNumber - kUnixEpoch + kEraToUnixEpoch;
    const std::int64_t era = days / kDaysPerEra;
    const std::int64_t dayOfEra = days - era * kDaysPerEra;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    time.Day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    time.Month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    time.Year = static_cast<int>(era * 400 + yearOfEra + (time.Month <= 2 ? 1 : 0));
}

/// Whether `pattern` begins with `field`, whose letters are lower case.
bool BeginsWith(std::string_view pattern, std::string_view field) {
    return pattern.size() >= field.size() && std::equal(field.begin(), field.end(), pattern.begin(),
                                                        [](char f, char p) { return f == p || f == p - 'A' + 'a'; });
}

void AppendDigits(std::string& text, int number, int digits) {
    char buffer[4];
    for (int i = digits; i-- > 0; number /= 10)
        buffer[i] = static_cast<char>('0' + number % 10);
    text.append(buffer, static_cast<std::size_t>(digits));
}

struct PatternField {
    std::string_view Name;
    int CivilTime::*Value;
};

constexpr PatternField kPatternFields[] = {
    {"yyyy", &CivilTime::Year}, {"yy", &CivilTime::Year},   {"mm", &CivilTime::Month},  {"dd", &CivilTime::Day},
    {"hh", &CivilTime::Hour},   {"nn", &CivilTime::Minute}, {"ss", &CivilTime::Second},
};

constexpr std::string_view kChartPattern = "yyyymmddhhnnss";

/// The field that a pattern begins with; null when it begins with another character.
const PatternField* FieldAt(std::string_view pattern) {
    const auto* field = std::find_if(std::begin(kPatternFields), std::end(kPatternFields),
                                     [&](const PatternField& f) { return BeginsWith(pattern, f.Name); });
    return field == std::end(kPatternFields) ? nullptr : field;
}

}  // namespace

DayAndSecond ToDayAndSecond(Date date) {
    if (!(date.Days >= static_cast<double>(kFirstDay) && date.Days < static_cast<double>(kDayBehindLast))) {
        RaiseBeyondCalendar();
    }
    const std::int64_t seconds = std::llround((date.Days - static_cast<double>(kFirstDay)) * kSecondsPerDay);
    const std::int64_t day = kFirstDay + seconds / kSecondsPerDay;
    if (day >= kDayBehindLast) RaiseBeyondCalendar();
    return {day, static_cast<int>(seconds % kSecondsPerDay)};
}

CivilTime ToCivilTime(Date date) {
    const DayAndSecond split = ToDayAndSecond(date);
    CivilTime time;
    SetCalendarDay(time, split.Day);
    time.Hour = split.Second / 3600;
    time.Minute = split.Second / 60 % 60;
    time.Second = split.Second % 60;
    return time;
}

Date FromCivilTime(const CivilTime& time) {
    const auto within = [](int value, int low, int high) { return value >= low && value <= high; };
    if (!within(time.Year, 100, 9999) || !within(time.Month, 1, 12) ||
        !within(time.Day, 1, DaysInMonth(time.Year, time.Month)) || !within(time.Hour, 0, 23) ||
        !within(time.Minute, 0, 59) || !within(time.Second, 0, 59)) {
        RaiseNoDate(std::to_string(time.Year) + '-' + std::to_string(time.Month) + '-' + std::to_string(time.Day) +
                    ' ' + std::to_string(time.Hour) + ':' + std::to_string(time.Minute) + ':' +
                    std::to_string(time.Second));
    }
    const int secondOfDay = (time.Hour * 60 + time.Minute) * 60 + time.Second;
    return {static_cast<double>(DayNumber(time.Year, time.Month, time.Day)) +
            static_cast<double>(secondOfDay) / kSecondsPerDay};
}

std::string Format(Date date, std::string_view pattern) {
    const CivilTime time = ToCivilTime(date);
    std::string text;
    text.reserve(pattern.size());
    while (!pattern.empty()) {
        const PatternField* field = FieldAt(pattern);
        if (field == nullptr) {
            text.push_back(pattern.front());
            pattern.remove_prefix(1);
        } else {
            AppendDigits(text, time.*field->Value, static_cast<int>(field->Name.size()));
            pattern.remove_prefix(field->Name.size());
        }
    }
    return text;
}

Date AddMinutes(Date date, std::int32_t minutes) {
    return {date.Days + minutes / kMinutesPerDay};
}

Date DeviceTimeToDate(std::string_view deviceTime) {
    const double seconds = Variant(std::string(deviceTime)).ToDouble();
    const Date date{static_cast<double>(kUnixEpoch) + seconds / kSecondsPerDay};
    ToCivilTime(date);
    return date;
}

std::string DateToChartTime(Date date) {
    return Format(date, kChartPattern);
}

Date ChartTimeToDate(std::string_view chartTime) {
    if (chartTime.size() != kChartPattern.size() ||
        chartTime.find_first_not_of("0123456789") != std::string_view::npos) {
        RaiseNoDate(chartTime);
    }
    CivilTime time;
    for (std::size_t at = 0; at < kChartPattern.size();) {
        const PatternField& field = *FieldAt(kChartPattern.substr(at));
        time.*field.Value = LeadingNumber(chartTime.substr(at, field.Name.size()));
        at += field.Name.size();
    }
    return FromCivilTime(time);
}

Date FromUnixMilliseconds(std::int64_t milliseconds) {
    return {static_cast<double>(kUnixEpoch) + static_cast<double>(milliseconds) / kMillisecondsPerDay};
}

}  // namespace orvix
