#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "station/recording/recording.h"

namespace orvix::station {

// The parts of a recording that are JSON.

/// Raises RecordingError for a line that is no header of this version, or whose values are out of their range.
RecordingHeader ParseHeader(std::string_view line);

/// A text as JSON; what is no UTF-8 in it is replaced.
std::string Quoted(const std::string& text);
/// Nothing unless the text is one JSON text.
std::optional<std::string> QuotedText(std::string_view json);

}  // namespace orvix::station
