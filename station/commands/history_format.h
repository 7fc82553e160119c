#pragma once

#include <string>

#include "station/store/history_csv.h"
#include "station/store/history_reader.h"

namespace orvix::station {

/// What stands above the rows; may be empty.
std::string HeadingOf(HistoryFormat format);

/// Puts rows into words.
class HistoryLines {
public:
    explicit HistoryLines(HistoryFormat format) : m_Format(format) {}

    /// Appends one line, with its end.
    void Append(std::string& text, const HistoryRow& row);

private:
    const HistoryFormat m_Format;
    HistoryCsv m_Csv;
};

/// One line, with its end; as JSON, one object.
std::string LineOf(const AlarmRow& alarm, bool asJson);

}  // namespace orvix::station
