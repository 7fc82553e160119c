#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "station/store/history_rows.h"

namespace orvix::station {

// What a device is called in every listing of the history: the same fields under the same names.

using Json = nlohmann::ordered_json;

/// "port", "address", "model", "name", "variable".
Json ToJson(const SeriesKey& key);
/// One object, with the line's end. Names may hold bytes that are no UTF-8.
std::string Dumped(const Json& object);

/// A cell of a file of comma-separated values.
std::string CsvText(const std::string& text);
constexpr char kCsvKeyHeading[] = "port,address,name,variable,";
std::string CsvKey(const SeriesKey& key);

/// In columns, with blanks behind it.
std::string TableKey(const SeriesKey& key);
std::string TableKeyHeading();

}  // namespace orvix::station
