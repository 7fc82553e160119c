#pragma once

#include "host/database.h"
#include "station/model/exchange.h"
#include "station/model/reading.h"

namespace orvix::station {

/// A failure of the library for people: the report's first line, without the place it was raised at. What came through
/// the error-check routine has a number that tells nothing of the cause; it becomes a general error.
Failure FailureOf(MessageProvider& messages, ErrorNumber number, const std::string& report);

/// The same of something that failed because of an exchange: its cause is the exchange's, whatever is said. As it is
/// when the exchange was good, or was lost with the line.
Failure FailureOf(const Exchange& exchange, Failure said);

}  // namespace orvix::station
