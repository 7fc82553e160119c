#pragma once

#include <optional>
#include <string>
#include <vector>

#include "station/report/pdf_canvas.h"

namespace orvix::station {

struct PlotSample {
    double Days = 0;  ///< day number
    double Value = 0;
    bool BeginsCurve = false;  ///< the curve is interrupted before this sample
};

/// A time without samples, in day numbers.
struct PlotGap {
    double Begin = 0;
    double End = 0;
};

struct PlotData {
    std::vector<PlotSample> Samples;
    std::vector<PlotGap> Gaps{};
    std::optional<PlotGap> Period{};  ///< of the time axis; none: from the first sample to the last one
    std::string Unit;
    std::optional<double> HighLimit;
    std::optional<double> LowLimit;
    TextFont Font;  ///< of the labels
};

/// Draws the samples as a curve over time, with axes, limits, and gaps as grey bands. There must be a sample.
void DrawPlot(PdfCanvas& canvas, const Box& box, const PlotData& data);

}  // namespace orvix::station
