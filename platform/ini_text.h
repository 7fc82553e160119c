#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvix::platform {

/// The text of a settings file: lines "[section]", and under them lines "key=value". Names and values are written with
/// "%" and two hexadecimal digits for a control character, for "%", "=", "[", "]", ";", "#", and for a blank that comes
/// first or last; a "%" without two such digits stands for itself. Blanks around a name or a value are not part of it.
/// A line that is neither form belongs to nobody and stays where it is.

/// The value of a key; nothing when it is not there. The first line with that key in a section of that name counts.
std::optional<std::string> IniValue(std::string_view text, std::string_view section, std::string_view key);

/// The text with that value: its line is replaced, or a line is added at the end of the section, which is made if need
/// be.
std::string WithIniValue(std::string_view text, std::string_view section, std::string_view key, std::string_view value);

}  // namespace orvix::platform
