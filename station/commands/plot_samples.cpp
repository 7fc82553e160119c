#include "station/commands/plot_samples.h"

#include <algorithm>

#include "host/date.h"

namespace orvix::station {
namespace {

constexpr std::int64_t kSlices = 1000;

double Days(std::int64_t time) {
    return FromUnixMilliseconds(time).Days;
}

}  // namespace

std::int64_t PlotSamples::SliceOf(std::int64_t time) const {
    return (time - m_Period.Since) * kSlices / (m_Period.Until - m_Period.Since);
}

std::optional<std::int64_t> PlotSamples::FiguresWidth() const {
    const auto width = (m_Period.Until - m_Period.Since) / kSlices;
    if (width < kMinute) return std::nullopt;
    return width < kHour ? width / kMinute * kMinute : width / kHour * kHour;
}

void PlotSamples::Add(const HistoryRow& row) {
    if (row.IsGap()) AddGap(row);
    // What is doubtful would only spoil the scale.
    if (row.IsGap() || row.Why != Doubt::None) return;
    const Value value{row.Time, NumberOf(row.Value)};
    if (SliceOf(row.Time) != m_Slice) {
        EndSlice();
        m_Slice = SliceOf(row.Time);
        m_Lowest = m_Highest = value;
    }
    if (value.Number < m_Lowest.Number) m_Lowest = value;
    if (value.Number > m_Highest.Number) m_Highest = value;
}

void PlotSamples::Add(std::int64_t begin, std::int64_t end, const Figures& figures) {
    if (figures.Count == 0) return;
    m_Slice = SliceOf(begin);
    m_Lowest = {std::max(begin, m_Period.Since), figures.Lowest};
    m_Highest = {begin + (end - begin) / 2, figures.Highest};
    EndSlice();
}

void PlotSamples::AddGap(const HistoryRow& row) {
    EndSlice();
    m_BeginsCurve = true;
    const auto begin = std::max(row.Time, m_Period.Since);
    const auto end = std::min(row.Until, m_Period.Until);
    auto& gaps = m_Data.Gaps;
    // On a line that flaps the bands of one slice are one.
    if (!gaps.empty() && SliceOf(begin) == SliceOf(m_GapsEnd)) {
        gaps.back().End = std::max(gaps.back().End, Days(end));
    } else {
        gaps.push_back({Days(begin), Days(end)});
    }
    m_GapsEnd = std::max(m_GapsEnd, end);
}

void PlotSamples::EndSlice() {
    if (m_Slice < 0) return;
    m_Slice = -1;
    const auto [first, last] = std::minmax(m_Lowest, m_Highest, [](auto& a, auto& b) { return a.Time < b.Time; });
    m_Data.Samples.push_back({Days(first.Time), first.Number, std::exchange(m_BeginsCurve, false)});
    if (last.Time > first.Time) m_Data.Samples.push_back({Days(last.Time), last.Number, false});
}

PlotData PlotSamples::Finish() {
    EndSlice();
    m_Data.Period = PlotGap{Days(m_Period.Since), Days(m_Period.Until)};
    return std::move(m_Data);
}

}  // namespace orvix::station
