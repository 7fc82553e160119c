#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvix {

/// A date and time as a day number: whole days since 1899-12-30, the fraction is the time of day.
struct Date {
    double Days = 0;
    friend bool operator==(Date, Date) = default;
};

/// Calendar fields of a date, to the nearest second.
struct CivilTime {
    int Year = 1899, Month = 12, Day = 30, Hour = 0, Minute = 0, Second = 0;
    friend bool operator==(const CivilTime&, const CivilTime&) = default;
};

/// A date as whole days since 1899-12-30 and the seconds of the day, to the nearest second.
struct DayAndSecond {
    std::int64_t Day = 0;
    int Second = 0;
};

/// Both raise Overflow outside the years 100 to 9999.
DayAndSecond ToDayAndSecond(Date date);
CivilTime ToCivilTime(Date date);
/// Raises TypeMismatch when the fields are no date.
Date FromCivilTime(const CivilTime& time);

/// Formats with the fields yyyy, yy, mm, dd, hh, nn (minute) and ss, in any case; other characters stand for
/// themselves.
std::string Format(Date date, std::string_view pattern);

Date AddMinutes(Date date, std::int32_t minutes);

/// Device time is a count of seconds since 1970-01-01 00:00:00 UTC, as the text of a plain number.
/// Raises TypeMismatch for a text that is no number and Overflow for one beyond the calendar.
Date DeviceTimeToDate(std::string_view deviceTime);

/// The 14 characters yyyymmddhhnnss.
std::string DateToChartTime(Date date);
/// The date of such a text. Raises TypeMismatch for any other.
Date ChartTimeToDate(std::string_view chartTime);

/// The date of a time in milliseconds since 1970-01-01 00:00:00 UTC.
Date FromUnixMilliseconds(std::int64_t milliseconds);

}  // namespace orvix
