#include "station/store/history_slices.h"

#include <algorithm>

namespace orvix::station {
namespace {

/// Inputs hold from a reading before the period on; of one whose changes alone are recorded it may be this old.
constexpr std::int64_t kBefore = kMinute;
constexpr std::int64_t kBeforeSparse = kHour;

bool IsSparse(const StoredDevice& device) {
    return std::any_of(device.Series.begin(), device.Series.end(), [](const auto& series) { return series.IsSparse; });
}

std::vector<HistorySlice> FromReadings(HistoryReader& reader, const StoredDevice& device, const Period& period,
                                       std::int64_t width) {
    RollUp rollUp(device.IsInputs(), kLongestHold, width);
    const auto before = IsSparse(device) ? kBeforeSparse : kBefore;
    reader.Read({device}, {period.Since - before, period.Until}, [&](const HistoryRow& row) {
        // A gap may be told late: it begins before what was read already.
        if (!rollUp.IsBehind(row.Time)) AddTo(rollUp, row);
        return true;
    });
    const auto& latest = device.Series.back();
    rollUp.End(std::min(period.Until, std::max(latest.To, rollUp.CompleteUntil())));
    std::vector<HistorySlice> slices;
    for (const auto& [index, figures] : rollUp.TakeComplete()) {
        if ((index + 1) * width > period.Since) slices.push_back({index * width, figures});
    }
    return slices;
}

std::vector<HistorySlice> FromRollUps(HistoryReader& reader, const StoredDevice& device, const Period& period,
                                      std::int64_t width) {
    std::vector<HistorySlice> slices;
    auto query = reader.FiguresOf(device);
    for (auto begin = period.Since / width * width; begin < period.Until; begin += width) {
        auto figures = query.Of({begin, begin + width});
        if (!figures.IsEmpty()) slices.push_back({begin, figures});
    }
    return slices;
}

}  // namespace

HistorySlices SlicesOf(HistoryReader& reader, const StoredDevice& device, const Period& period, std::int64_t most) {
    auto width = std::max<std::int64_t>(1, (period.Until - period.Since + most - 1) / most);
    if (width < kMinute) {
        auto slices = FromReadings(reader, device, period, width);
        if (!slices.empty()) return {width, std::move(slices)};
    }
    // Whole minutes or hours, of which a slice is made quickly.
    const auto unit = width < kHour ? kMinute : kHour;
    width = (width + unit - 1) / unit * unit;
    return {width, FromRollUps(reader, device, period, width)};
}

std::vector<HistoryRow> GapsOf(HistoryReader& reader, const StoredDevice& device, const Period& period,
                               std::int64_t width) {
    std::vector<HistoryRow> gaps;
    const auto take = [&](const HistoryRow& row) {
        if (!row.IsGap()) return true;
        const bool isSame = !gaps.empty() && row.Time - gaps.back().Until <= width &&
                            row.Reason.Text == gaps.back().Reason.Text && row.Reason.Code == gaps.back().Reason.Code;
        if (isSame) {
            gaps.back().Until = std::max(gaps.back().Until, row.Until);
            gaps.back().Count += row.Count;
        } else {
            gaps.push_back(row);
        }
        return true;
    };
    reader.Read({device}, period, take, SeriesCursor::Rows::OnlyGaps);
    return gaps;
}

}  // namespace orvix::station
