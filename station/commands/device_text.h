#pragma once

#include <string>

#include "station/json/json.h"
#include "station/store/history_csv.h"

namespace orvix::station {

// What a device is called in every listing of the history: the same fields under the same names.

/// "port", "address", "model", "name", "variable".
Json ToJson(const SeriesKey& key);

/// In columns, with blanks behind it.
std::string TableKey(const SeriesKey& key);
std::string TableKeyHeading();

}  // namespace orvix::station
