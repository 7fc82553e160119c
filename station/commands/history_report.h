#pragma once

#include <vector>

#include "host/date.h"
#include "station/report/pdf_plot.h"
#include "station/store/history_reader.h"

namespace orvix::station {

/// What a document says of one series.
struct ReportedDevice {
    HistorySummary Summary;
    PlotData Plot;
};

/// A document of a period as PDF: a table of all series, then a plot of each. `printed` is its date, UTC.
ByteArray DrawHistory(const std::vector<ReportedDevice>& devices, const Period& period, Date printed);

}  // namespace orvix::station
