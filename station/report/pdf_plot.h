#pragma once

#include <optional>
#include <string>
#include <vector>

#include "station/report/pdf_canvas.h"

namespace orvix::station {

struct PlotSample {
    double Days = 0;  ///< day number
    double Value = 0;
};

struct PlotData {
    std::vector<PlotSample> Samples;
    std::string Unit;
    std::optional<double> HighLimit;
    std::optional<double> LowLimit;
    TextFont Font;  ///< of the labels
};

/// Draws the samples as a curve over time, with axes and limits. There must be a sample.
void DrawPlot(PdfCanvas& canvas, const Box& box, const PlotData& data);

}  // namespace orvix::station
