#include "station/store/series_cursor.h"

namespace orvix::station {
namespace {

using platform::SqliteStatement;

constexpr std::size_t kPageRows = 1024;

}  // namespace

template <class Row>
const Row* SeriesCursor::Pages<Row>::Peek(Row (*rowOf)(SqliteStatement&)) {
    if (Next == Page.size() && !IsLast) {
        if (!Page.empty()) Select.Bind(2, Page.back().Time + 1);
        Page.clear();
        Next = 0;
        while (Select.Step())
            Page.push_back(rowOf(Select));
        Select.Reset();
        IsLast = Page.size() < kPageRows;
    }
    return Next < Page.size() ? &Page[Next] : nullptr;
}

SeriesCursor::SeriesCursor(platform::SqliteConnection& connection, const StoredDevice& device, std::int64_t series,
                           const Period& period, Rows rows)
    : m_Readings{{connection,
                  "SELECT time_ms, value, doubt FROM readings "
                  "WHERE series = ?1 AND time_ms >= ?2 AND time_ms < ?3 ORDER BY time_ms LIMIT ?4"}},
      // Only the last of the gaps that begin before the period can reach into it.
      m_Gaps{{connection,
              "SELECT from_ms, to_ms, count, code, text FROM gaps WHERE series = ?1 AND from_ms < ?3 AND to_ms >= ?5 "
              "AND from_ms >= max(?2, coalesce((SELECT max(from_ms) FROM gaps WHERE series = ?1 AND from_ms < ?5), 0)) "
              "ORDER BY from_ms LIMIT ?4"}},
      m_IsInputs(device.IsInputs()) {
    m_Row.Device = &device;
    const auto limit = static_cast<std::int64_t>(kPageRows);
    m_Readings.Select.Bind(1, series).Bind(2, period.Since).Bind(3, period.Until).Bind(4, limit);
    m_Readings.IsLast = rows == Rows::OnlyGaps;
    m_Gaps.Select.Bind(1, series).Bind(2, std::int64_t{0}).Bind(3, period.Until).Bind(4, limit).Bind(5, period.Since);
    Next();
}

void SeriesCursor::Next() {
    const auto* reading = m_Readings.Peek(ReadingOf);
    const auto* gap = m_Gaps.Peek(GapOf);
    m_IsAtEnd = reading == nullptr && gap == nullptr;
    if (m_IsAtEnd) return;
    if (gap == nullptr || (reading != nullptr && reading->Time <= gap->Time)) {
        Take(*reading);
        ++m_Readings.Next;
    } else {
        Take(*gap);
        ++m_Gaps.Next;
    }
}

void SeriesCursor::Take(const StoredReading& reading) {
    m_Row.Time = reading.Time;
    m_Row.Why = reading.Why;
    if (m_IsInputs) {
        m_Row.Value = static_cast<std::int32_t>(reading.Value);
    } else {
        m_Row.Value = reading.Value;
    }
}

void SeriesCursor::Take(const StoredGap& gap) {
    m_Row.Time = gap.Time;
    m_Row.Why = Doubt::None;
    m_Row.Value = {};
    m_Row.Until = gap.Until;
    m_Row.Count = gap.Count;
    m_Row.Reason = gap.Reason;
}

SeriesCursor::StoredReading SeriesCursor::ReadingOf(SqliteStatement& row) {
    return {row.LongNumber(0), row.Real(1), static_cast<Doubt>(row.LongNumber(2))};
}

SeriesCursor::StoredGap SeriesCursor::GapOf(SqliteStatement& row) {
    return {row.LongNumber(0), row.LongNumber(1), row.LongNumber(2), {row.Number(3), row.Text(4), {}}};
}

}  // namespace orvix::station
