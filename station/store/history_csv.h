#pragma once

#include <string>

#include "station/store/stored_device.h"

namespace orvix::station {

// The history as comma-separated values.

/// A cell, on one line. A text that begins as a formula does gets a "'" before it.
std::string CsvText(const std::string& text);
constexpr char kCsvKeyHeading[] = "port,address,name,variable,";
std::string CsvKey(const SeriesKey& key);

/// What stands above the rows.
inline constexpr char kHistoryCsvHeading[] = "time,port,address,name,variable,value,quality,until,count,reason\n";

/// "good", "doubtful" or "offline", a gap.
const char* QualityOf(const HistoryRow& row);
/// Why there are no readings in a gap; without a code when it is not a device's failure.
std::string ReasonOf(const HistoryRow& row);

/// Puts rows into lines.
class HistoryCsv {
public:
    /// Appends one line, with its end.
    void Append(std::string& text, const HistoryRow& row);

private:
    const StoredDevice* m_Device = nullptr;  ///< of the latest row
    std::string m_Key;                       ///< what it is called
};

}  // namespace orvix::station
