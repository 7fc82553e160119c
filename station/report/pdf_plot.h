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

/// A time in which an input was on, in day numbers.
struct PlotStretch {
    double Begin = 0;
    double End = 0;
    double Share = 1;  ///< of that time, from 0 to 1
};

struct PlotData {
    std::vector<PlotSample> Samples;
    std::vector<std::vector<PlotStretch>> Lanes{};  ///< of inputs 0, 1 ..., in place of samples
    std::vector<PlotGap> Gaps{};
    std::string GapReasons{};         ///< why there are gaps, as a list; empty: there are none
    std::optional<PlotGap> Period{};  ///< of the time axis; none: from the first sample to the last one
    std::string Unit;
    std::optional<double> HighLimit;
    std::optional<double> LowLimit;
    TextFont Font;  ///< of the labels
};

/// What stands behind a gap.
inline constexpr Color kGapColor{0.93, 0.90, 0.88};

/// Draws the samples as a curve over time, or a lane for each input with bars where it was on, with axes, limits, and
/// gaps as grey bands. There must be a sample, or lanes and a period.
void DrawPlot(PdfCanvas& canvas, const Box& box, const PlotData& data);

}  // namespace orvix::station
