#include "station/store/figures_query.h"

#include <algorithm>

#include "station/store/series_cursor.h"

namespace orvix::station {
namespace {

std::int64_t Floor(std::int64_t time, std::int64_t step) {
    return time / step * step;
}

std::int64_t Ceil(std::int64_t time, std::int64_t step) {
    return Floor(time + step - 1, step);
}

}  // namespace

FiguresQuery::FiguresQuery(platform::SqliteConnection& connection, const StoredDevice& device)
    : m_Connection(connection), m_Device(device), m_Spans(connection, SumFigures(device.IsInputs())) {}

Figures FiguresQuery::Of(const Period& period) {
    Figures figures;
    for (const auto& series : m_Device.Series) {
        if (series.From < period.Until && series.To >= period.Since) figures.Add(OfSeries(series, period));
    }
    return figures;
}

Figures FiguresQuery::OfSeries(const StoredSeries& series, const Period& period) {
    const auto rolled = std::min(series.RolledUntil, Ceil(series.To + 1, kMinute));
    // How long inputs were on is known of whole minutes, and what is only changes counts no readings.
    const bool isWhole = series.IsSparse || m_Device.IsInputs();
    const auto since = std::max(period.Since, Floor(series.From, kMinute));
    const auto from = isWhole ? Floor(since, kMinute) : Ceil(since, kMinute);
    const auto until = std::min(rolled, isWhole ? Ceil(period.Until, kMinute) : Floor(period.Until, kMinute));
    if (from >= until) return Single(series, isWhole ? std::max(rolled, since) : since, period.Until);
    auto figures = Minutes(series, from, until);
    figures.Add(Single(series, since, from));
    figures.Add(Single(series, until, period.Until));
    return figures;
}

Figures FiguresQuery::Minutes(const StoredSeries& series, std::int64_t from, std::int64_t until) {
    const auto firstHour = Ceil(from, kHour);
    const auto lastHour = Floor(until, kHour);
    if (firstHour >= lastHour) return Spans(series, kMinuteSpan, from, until);
    auto figures = Spans(series, kHourSpan, firstHour, lastHour);
    figures.Add(Spans(series, kMinuteSpan, from, firstHour));
    figures.Add(Spans(series, kMinuteSpan, lastHour, until));
    return figures;
}

Figures FiguresQuery::Spans(const StoredSeries& series, std::int32_t span, std::int64_t from, std::int64_t until) {
    if (from >= until) return {};
    m_Spans.Bind(1, series.Row).Bind(2, span).Bind(3, from / kMinute).Bind(4, until / kMinute).Step();
    const auto figures = FiguresOf(m_Spans, m_Device.IsInputs());
    m_Spans.Reset();
    return figures;
}

Figures FiguresQuery::Single(const StoredSeries& series, std::int64_t from, std::int64_t until) {
    if (from >= until) return {};
    RollUp rollUp(m_Device.IsInputs());
    SeriesCursor rows(m_Connection, m_Device, series.Row, {from, until});
    for (const auto* row = rows.Current(); row != nullptr; row = rows.Current()) {
        if (row->Time >= from) AddTo(rollUp, *row);
        rows.Next();
    }
    rollUp.End(std::min(until, series.To));
    Figures figures;
    for (const auto& minute : rollUp.TakeComplete())
        figures.Add(minute.Figures);
    return figures;
}

}  // namespace orvix::station
