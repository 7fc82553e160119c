#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "station/model/clock.h"
#include "station/model/reading.h"

namespace orvix::station {

/// "0x80041589".
std::string CodeText(ErrorNumber code);
/// The failure's sentence with its code: "The device refused the request (0x8004158B)".
std::string FailureText(const Failure& failure);

/// A bare value: "21.5", "5", a serial number; empty for none.
std::string ValueText(const ReadingValue& value);
/// With unit, and two decimals at most, since more than a sensor of this kind is worth only disturbs a column; "--" for
/// none.
std::string ValueWithUnit(const ReadingValue& value);
/// Eight binary digits, bit 7 first.
std::string BitsText(std::int32_t inputs);

/// "good", "stale, 3 s old", "offline, 12 min 4 s old", "offline, never read".
std::string FreshnessText(const Reading& reading);

/// A text that is to be UTF-8 as a terminal of that kind, or of ASCII alone, can show it; "?" for what it cannot.
std::string ForTerminal(std::string_view text, bool isUtf8);

/// The columns that a UTF-8 text takes on a terminal.
int DisplayWidth(std::string_view text);
/// The longest beginning of a UTF-8 text that takes at most so many columns.
std::string_view BeginningOf(std::string_view text, int columns);
/// `text` with spaces behind it to that many columns.
std::string Padded(std::string text, int columns);

}  // namespace orvix::station
