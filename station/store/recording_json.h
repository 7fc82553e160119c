#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "station/store/recording.h"

namespace orvix::station {

// The parts of a recording that are JSON. What is read raises RecordingError with the number of its line when it is no
// JSON, lacks a member, or has a value out of its range.

std::string HeaderJson(const RecordingHeader& header);
/// `isFirst`: of version 1.
RecordingHeader ParseHeaderJson(std::string_view json, bool isFirst);

std::string BusJson(const BusSetup& bus);
/// What version 1 lacks is off.
BusSetup ParseBusJson(std::string_view json, std::size_t line);

/// A text as JSON; what is no UTF-8 in it is replaced.
std::string Quoted(const std::string& text);
/// Nothing unless the text is one JSON text.
std::optional<std::string> QuotedText(std::string_view json);

}  // namespace orvix::station
