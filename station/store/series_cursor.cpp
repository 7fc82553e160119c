#include "station/store/series_cursor.h"

namespace orvix::station {
namespace {

constexpr std::size_t kPageRows = 512;

}  // namespace

SeriesCursor::SeriesCursor(platform::SqliteConnection& connection, const StoredSeries& series, const Period& period,
                           std::vector<HistoryRow> notRunning)
    : m_Series(series),
      m_Rest(period),
      m_NotRunning(std::move(notRunning)),
      m_Select(connection,
               "SELECT time_ms, value, NULL, NULL, NULL, NULL FROM readings "
               "WHERE series = ?1 AND time_ms >= ?2 AND time_ms < ?3 UNION ALL "
               "SELECT from_ms, NULL, to_ms, count, code, text FROM gaps "
               "WHERE series = ?1 AND from_ms >= ?2 AND from_ms < ?3 ORDER BY 1 LIMIT ?4") {
    m_Select.Bind(1, series.Row).Bind(3, period.Until).Bind(4, std::int64_t{kPageRows});
    LoadEarlierGap(connection);
    if (m_Page.empty()) LoadPage();
}

/// Of the gaps that begin before the period only the last one can reach into it.
void SeriesCursor::LoadEarlierGap(platform::SqliteConnection& connection) {
    platform::SqliteStatement select(connection,
                                     "SELECT * FROM (SELECT from_ms, NULL, to_ms, count, code, text FROM gaps "
                                     "WHERE series = ?1 AND from_ms < ?2 ORDER BY from_ms DESC LIMIT 1) "
                                     "WHERE to_ms >= ?2");
    select.Bind(1, m_Series.Row).Bind(2, m_Rest.Since);
    if (select.Step()) m_Page.push_back(RowOf(select));
}

void SeriesCursor::LoadPage() {
    m_Page.clear();
    m_Next = 0;
    m_Select.Bind(2, m_Rest.Since);
    while (m_Select.Step())
        m_Page.push_back(RowOf(m_Select));
    m_Select.Reset();
    m_IsLastPage = m_Page.size() < kPageRows;
    if (m_IsLastPage) return;
    // A reading and a gap may share the last row's time, at which the next page begins.
    m_Rest.Since = m_Page.back().Time;
    while (m_Page.back().Time == m_Rest.Since)
        m_Page.pop_back();
}

HistoryRow SeriesCursor::RowOf(platform::SqliteStatement& statement) const {
    HistoryRow row{.Series = &m_Series, .Time = statement.LongNumber(0), .Value = {}, .Reason = {}};
    if (statement.IsNull(1)) {
        row.Until = statement.LongNumber(2);
        row.Count = statement.LongNumber(3);
        row.Reason = {statement.Number(4), statement.Text(5), {}};
    } else if (m_Series.IsInputs()) {
        row.Value = static_cast<std::int32_t>(statement.Real(1));
    } else {
        row.Value = statement.Real(1);
    }
    return row;
}

bool SeriesCursor::IsInsertedNext() const {
    if (m_NextNotRunning == m_NotRunning.size()) return false;
    return m_Next == m_Page.size() || m_NotRunning[m_NextNotRunning].Time < m_Page[m_Next].Time;
}

const HistoryRow* SeriesCursor::Current() const {
    if (IsInsertedNext()) return &m_NotRunning[m_NextNotRunning];
    return m_Next < m_Page.size() ? &m_Page[m_Next] : nullptr;
}

void SeriesCursor::Next() {
    if (IsInsertedNext()) {
        ++m_NextNotRunning;
    } else if (++m_Next == m_Page.size() && !m_IsLastPage) {
        LoadPage();
    }
}

}  // namespace orvix::station
