#pragma once

#include <string>

#include "station/json/json.h"
#include "station/store/history_rows.h"

namespace orvix::station {

// What a device is called in every listing of the history: the same fields under the same names.

/// "port", "address", "model", "name", "variable".
Json ToJson(const SeriesKey& key);

/// A cell of a file of comma-separated values, on one line. A text that begins as a formula does gets a "'" before it.
std::string CsvText(const std::string& text);
constexpr char kCsvKeyHeading[] = "port,address,name,variable,";
std::string CsvKey(const SeriesKey& key);

/// In columns, with blanks behind it.
std::string TableKey(const SeriesKey& key);
std::string TableKeyHeading();

}  // namespace orvix::station
