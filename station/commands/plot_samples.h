#pragma once

#include <map>
#include <optional>
#include <string>

#include "station/report/pdf_plot.h"
#include "station/store/history_reader.h"

namespace orvix::station {

/// Thins the rows of one series to what a plot can show: of each of a fixed number of time slices the lowest and the
/// highest value, so that no peak is lost.
class PlotSamples {
public:
    /// As many slices of time are told apart.
    static constexpr std::int64_t kSlices = 1000;

    explicit PlotSamples(const Period& period) : m_Period(period) {}

    /// In order of time.
    void Add(const HistoryRow& row);
    /// What the readings from a time on come to, in place of them.
    void Add(std::int64_t begin, std::int64_t end, const Figures& figures);
    /// The width of spans that show as much as the plot can, whole minutes or hours; nothing when that is below a
    /// minute.
    std::optional<std::int64_t> FiguresWidth() const;
    /// What inputs were in a span, which follows the spans before.
    void AddInputs(std::int64_t begin, std::int64_t end, const Figures& figures);
    /// Samples or lanes, gaps with their reasons, and period of the plot.
    PlotData Finish();

private:
    void AddGap(const HistoryRow& row);
    std::string GapReasons() const;
    void EndSlice();
    std::int64_t SliceOf(std::int64_t time) const;

    struct Value {
        std::int64_t Time = 0;
        double Number = 0;
    };
    const Period m_Period;
    PlotData m_Data;
    std::int64_t m_Slice = -1;
    Value m_Lowest;
    Value m_Highest;
    bool m_BeginsCurve = false;
    std::int64_t m_GapsEnd = 0;                    ///< of the latest band
    std::map<std::string, std::int64_t> m_Failed;  ///< for how long, by the reason
};

}  // namespace orvix::station
