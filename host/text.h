#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "host/variant.h"

namespace orvix {

/// Separates the fields of channel messages and of task tags.
inline constexpr char kFieldSeparator = '\x1F';

/// Line break of error texts, of the debug window's log and of text exports.
inline constexpr char kLineBreak[] = "\r\n";

/// "a", "b" -> "a" SEP "b".
std::string JoinFields(std::initializer_list<std::string_view> fields);
std::vector<std::string> SplitFields(std::string_view message);

/// `text` with every `from` replaced by `to`.
std::string ReplaceAll(std::string text, std::string_view from, std::string_view to);

/// General format of a number: shortest text with at most seven (single) or fifteen (double) significant digits.
std::string NumberText(float value);
std::string NumberText(double value);
/// Signed decimal.
std::string NumberText(std::int32_t value);
/// Upper-case hexadecimal of the 32 bits, without leading zeros.
std::string HexText(std::int32_t value);

/// Value of the leading decimal number of a text ("3x" is 3): 0 when there is none, and when it is beyond 32 bits.
std::int32_t LeadingNumber(std::string_view text);

/// The numeric value of a text's leading number, with sign, decimals and exponent ("-40.0" is -40): 0 when there is
/// none.
double LeadingReal(std::string_view text);

bool EqualsIgnoringCase(std::string_view a, std::string_view b);

/// One character a byte.
std::string BytesToText(ByteView bytes);
ByteArray TextToBytes(std::string_view text);

}  // namespace orvix
