#pragma once

#include <string>
#include <vector>

#include "station/store/history_reader.h"

namespace orvix::station {

/// One line a device under a heading; as JSON, one object a line.
std::string SummaryText(const std::vector<HistorySummary>& summaries, HistoryFormat format);

/// What stands above the lines of minutes, hours or days; may be empty.
std::string FiguresHeading(HistoryFormat format);
/// What the readings of a device from a time on come to: one line, with its end.
std::string FiguresLine(std::int64_t time, const StoredDevice& device, const Figures& figures, HistoryFormat format);

/// "49 min 59 s"; "--" for no time at all.
std::string GapTimeText(std::chrono::milliseconds time);

}  // namespace orvix::station
