#pragma once

#include "host/database.h"
#include "station/model/reading.h"

namespace orvix::station {

/// Finds out what a report is about: the numbered message whose sentence it begins with. A report that begins with none
/// of them keeps its number, or is a general error when it came through the error-check routine; its first line without
/// the place it was raised at is the sentence.
Failure ExplainFailure(MessageProvider& messages, ErrorNumber number, const std::string& report);

}  // namespace orvix::station
