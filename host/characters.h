#pragma once

#include <string>
#include <string_view>

namespace orvix {

/// What stands for a byte that is no UTF-8.
inline constexpr char32_t kNoCharacter = 0xFFFD;

/// Takes one character off a UTF-8 text, which must not be empty; a byte that begins none is taken alone, as
/// kNoCharacter.
char32_t TakeCharacter(std::string_view& text);

/// How many bytes at the end of a text begin a UTF-8 character that is not whole; 0 to 3.
std::size_t BegunCharacter(std::string_view text);

/// Whether a character would steer a terminal, or the direction and lines of the text around it: control characters
/// (C0, DEL, C1), marks of direction, separators of lines and paragraphs.
bool IsControl(char32_t character);

/// A text that neither steers a terminal nor looks like another one: "?" for each control character, and for each byte
/// that is no UTF-8. Tabs and ends of lines, LF or CR LF, stay.
std::string Harmless(std::string_view text);

/// The length of the beginning that Harmless leaves as it is, as far as that is ASCII.
std::size_t HarmlessLength(std::string_view text);

/// The same on one line: " | " for an end of line, and for the separator of a message's fields.
std::string Printable(std::string_view text);

}  // namespace orvix
