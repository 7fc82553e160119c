#pragma once

#include <string>
#include <vector>

#include "station/store/history_reader.h"

namespace orvix::station {

/// What stands above the rows; may be empty.
std::string HeadingOf(HistoryFormat format);
/// One line, with its end.
std::string LineOf(const HistoryRow& row, HistoryFormat format);

/// One line, with its end; as JSON, one object.
std::string LineOf(const AlarmRow& alarm, bool asJson);

/// One line a series under a heading; as JSON, one object a line.
std::string SummaryText(const std::vector<SeriesSummary>& summaries, HistoryFormat format);

/// "49 min 59 s"; "--" for no time at all.
std::string GapTimeText(std::chrono::milliseconds time);

}  // namespace orvix::station
