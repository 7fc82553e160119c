#include "station/store/history_store.h"

#include "station/store/history_schema.h"

namespace orvix::station {
namespace {

using platform::SqliteStatement;

// A removal of so many rows takes a few milliseconds.
constexpr std::int64_t kRowsPerStep = 5000;
constexpr std::int64_t kPagesPerStep = 512;
// New rows soon use what is free; only more than this is given back.
constexpr std::int64_t kSparePages = 64;

}  // namespace

HistoryStore::HistoryStore(const std::string& file, const HistorySession& session, std::int64_t now)
    : m_Connection(OpenHistory(file)),
      // Nothing is changed when the same millisecond has another value.
      m_AddReading(m_Connection,
                   "INSERT INTO readings(series, time_ms, value) VALUES(?, ?, ?) "
                   "ON CONFLICT DO UPDATE SET value = value WHERE value = excluded.value"),
      m_PutGap(m_Connection,
               "INSERT INTO gaps(series, from_ms, to_ms, count, code, text) VALUES(?, ?, ?, ?, ?, ?) "
               "ON CONFLICT DO UPDATE SET to_ms = max(to_ms, excluded.to_ms), count = max(count, excluded.count)") {
    SqliteStatement(m_Connection,
                    "INSERT INTO sessions(start_ms, pid, alive_ms) VALUES(?, ?, ?) ON CONFLICT DO NOTHING")
        .Bind(1, session.Start)
        .Bind(2, session.Process)
        .Bind(3, now)
        .Run();
    SqliteStatement row(m_Connection, "SELECT id FROM sessions WHERE start_ms = ? AND pid = ?");
    row.Bind(1, session.Start).Bind(2, session.Process).Step();
    m_Session = row.LongNumber(0);
}

void HistoryStore::Write(const HistoryBatch& batch, std::int64_t now) {
    m_Connection.Execute("BEGIN IMMEDIATE");
    for (const auto& reading : batch.Readings)
        WriteReading(RowOf(batch, reading.Series), reading);
    for (const auto& [key, gap] : batch.Gaps)
        WriteGap(RowOf(batch, key.first), key.second, gap);
    for (const auto& [number, event] : batch.Events)
        WriteEvent(number, event);
    SqliteStatement(m_Connection, "UPDATE sessions SET alive_ms = ? WHERE id = ?")
        .Bind(1, now)
        .Bind(2, m_Session)
        .Run();
    m_Connection.Execute("COMMIT");
}

std::int64_t HistoryStore::RowOf(const HistoryBatch& batch, std::size_t series) {
    m_SeriesRows.resize(batch.Series.size());
    auto& row = m_SeriesRows[series];
    if (row != 0) return row;
    const auto& [key, first] = batch.Series[series];
    const auto bindKey = [&key = key](SqliteStatement& statement) -> SqliteStatement& {
        return statement.Bind(1, key.Port)
            .Bind(2, key.Address)
            .Bind(3, key.Model)
            .Bind(4, key.Name)
            .Bind(5, key.Variable);
    };
    SqliteStatement insert(m_Connection,
                           "INSERT INTO series(port, address, model, name, variable) VALUES(?, ?, ?, ?, ?) "
                           "ON CONFLICT DO NOTHING");
    bindKey(insert).Run();
    SqliteStatement select(
        m_Connection,
        "SELECT id FROM series WHERE port = ? AND address = ? AND model = ? AND name = ? AND variable = ?");
    bindKey(select).Step();
    row = select.LongNumber(0);
    SqliteStatement(m_Connection,
                    "INSERT INTO watches(series, session, from_ms) VALUES(?, ?, ?) ON CONFLICT DO NOTHING")
        .Bind(1, row)
        .Bind(2, m_Session)
        .Bind(3, first)
        .Run();
    return row;
}

void HistoryStore::WriteReading(std::int64_t series, const ReadingRow& reading) {
    m_AddReading.Bind(1, series).Bind(3, reading.Value);
    std::int64_t time = reading.Time;
    do {
        m_AddReading.Bind(2, time++).Run();
    } while (m_Connection.Changes() == 0);
}

void HistoryStore::WriteGap(std::int64_t series, std::int64_t from, const Gap& gap) {
    m_PutGap.Bind(1, series).Bind(2, from).Bind(3, gap.To).Bind(4, gap.Count).Bind(5, gap.Code).Bind(6, gap.Text).Run();
}

void HistoryStore::WriteEvent(std::int64_t number, const HistoryEvent& event) {
    SqliteStatement put(m_Connection,
                        "REPLACE INTO events(session, number, time_ms, port, address, kind, text, value, ended_ms) "
                        "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)");
    put.Bind(1, m_Session).Bind(2, number).Bind(3, event.Time).Bind(4, event.Port).Bind(5, event.Address);
    put.Bind(6, event.Kind).Bind(7, event.Text).Bind(8, event.Value).BindNull(9);
    if (event.Ended) put.Bind(9, *event.Ended);
    put.Run();
}

void HistoryStore::End() {
    SqliteStatement(m_Connection, "UPDATE sessions SET ended = 1 WHERE id = ?").Bind(1, m_Session).Run();
}

bool HistoryStore::Remove(std::int64_t cutoff) {
    m_Connection.Execute("BEGIN IMMEDIATE");
    const auto removed = RemoveRows(cutoff);
    m_Connection.Execute("COMMIT");
    if (FreePages() > kSparePages) {
        m_Connection.Execute("PRAGMA incremental_vacuum(" + std::to_string(kPagesPerStep) + ")");
    }
    return removed >= kRowsPerStep || FreePages() > kSparePages;
}

std::int64_t HistoryStore::RemoveRows(std::int64_t cutoff) {
    std::int64_t removed = 0;
    SqliteStatement readings(
        m_Connection,
        "DELETE FROM readings WHERE series = ?1 AND time_ms < ?2 AND time_ms <= (SELECT max(time_ms) "
        "FROM (SELECT time_ms FROM readings WHERE series = ?1 ORDER BY time_ms LIMIT ?3))");
    SqliteStatement gaps(m_Connection, "DELETE FROM gaps WHERE series = ?1 AND from_ms < ?2 AND to_ms < ?2");
    SqliteStatement series(m_Connection, "SELECT id FROM series");
    while (removed < kRowsPerStep && series.Step()) {
        const auto id = series.LongNumber(0);
        readings.Bind(1, id).Bind(2, cutoff).Bind(3, kRowsPerStep - removed).Run();
        removed += m_Connection.Changes();
        gaps.Bind(1, id).Bind(2, cutoff).Run();
    }
    for (const char* sql : {"DELETE FROM watches WHERE session IN (SELECT id FROM sessions WHERE alive_ms < ?)",
                            "DELETE FROM sessions WHERE alive_ms < ?", "DELETE FROM events WHERE time_ms < ?"})
        SqliteStatement(m_Connection, sql).Bind(1, cutoff).Run();
    return removed;
}

std::int64_t HistoryStore::Pragma(const char* name) {
    SqliteStatement pragma(m_Connection, std::string("PRAGMA ") + name);
    return pragma.Step() ? pragma.LongNumber(0) : 0;
}

std::int64_t HistoryStore::FreePages() {
    return Pragma("freelist_count");
}

std::int64_t HistoryStore::UsedBytes() {
    return (Pragma("page_count") - FreePages()) * Pragma("page_size");
}

std::optional<std::int64_t> HistoryStore::Oldest() {
    SqliteStatement oldest(m_Connection,
                           "SELECT min((SELECT min(time_ms) FROM readings WHERE series = series.id)) FROM series");
    if (!oldest.Step() || oldest.IsNull(0)) return std::nullopt;
    return oldest.LongNumber(0);
}

}  // namespace orvix::station
