#include "station/commands/plot_samples.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "host/date.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

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

void PlotSamples::AddInputs(std::int64_t begin, std::int64_t end, const Figures& figures) {
    if (figures.IsEmpty()) return;
    m_Data.Lanes.resize(figures.On.size());
    for (std::size_t input = 0; input < figures.On.size(); ++input) {
        if (figures.On[input] == 0) continue;
        const double share = static_cast<double>(figures.On[input]) / static_cast<double>(figures.Observed);
        auto& lane = m_Data.Lanes[input];
        const bool goesOn = !lane.empty() && lane.back().End == Days(begin) && lane.back().Share == share;
        if (!goesOn) lane.push_back({Days(std::max(begin, m_Period.Since)), 0, share});
        lane.back().End = Days(std::min(end, m_Period.Until));
    }
}

/// The longest first.
std::string PlotSamples::GapReasons() const {
    std::vector<std::pair<std::int64_t, std::string>> reasons;
    for (const auto& [reason, time] : m_Failed)
        reasons.emplace_back(-time, reason);
    std::sort(reasons.begin(), reasons.end());
    std::string text;
    for (const auto& [time, reason] : reasons)
        text += (text.empty() ? "" : "; ") + reason + " (" + DurationText(std::chrono::milliseconds(-time)) + ")";
    return text;
}

void PlotSamples::AddGap(const HistoryRow& row) {
    EndSlice();
    m_BeginsCurve = true;
    const auto begin = std::max(row.Time, m_Period.Since);
    const auto end = std::min(row.Until, m_Period.Until);
    m_Failed[row.Reason.Text] += std::max<std::int64_t>(0, end - begin);
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
    m_Data.GapReasons = GapReasons();
    return std::move(m_Data);
}

}  // namespace orvix::station
