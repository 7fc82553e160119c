#include "station/store/history_removal.h"

#include <string>

#include "station/store/roll_up.h"

namespace orvix::station {
namespace {

using platform::SqliteStatement;

constexpr std::int64_t kPagesPerStep = 512;
// New rows soon use what is free; only more than this is given back.
constexpr std::int64_t kSparePages = 64;

// The series that have rows in a table, each found by one seek.
std::string SeriesIn(const char* table) {
    return std::string("WITH RECURSIVE s(id) AS (SELECT min(series) FROM ") + table +
           " UNION ALL SELECT (SELECT min(series) FROM " + table + " WHERE series > id) FROM s WHERE id IS NOT NULL) ";
}

constexpr const char* kRemoveOthers[] = {
    "DELETE FROM alarms WHERE from_ms < ?1 AND "
    "coalesce(to_ms, (SELECT alive_ms FROM sessions WHERE id = holder), 0) < ?1",
    "DELETE FROM events WHERE time_ms < ?1",
    // A series that is not being read any more and has no rows.
    ("DELETE FROM series WHERE id IN (SELECT s.id FROM series AS s LEFT JOIN sessions AS t ON t.id = s.session "
     "WHERE coalesce(s.to_ms, t.alive_ms, 0) < ?1 "
     "AND NOT EXISTS (SELECT 1 FROM readings WHERE series = s.id) "
     "AND NOT EXISTS (SELECT 1 FROM gaps WHERE series = s.id) "
     "AND NOT EXISTS (SELECT 1 FROM rollups WHERE series = s.id) "
     "AND NOT EXISTS (SELECT 1 FROM input_rollups WHERE series = s.id))"),
    ("DELETE FROM sessions WHERE alive_ms < ?1 AND id NOT IN (SELECT session FROM series WHERE session IS NOT NULL) "
     "AND id NOT IN (SELECT session FROM alarms) AND id NOT IN (SELECT holder FROM alarms)"),
};

}  // namespace

std::int64_t HistoryRemoval::RemoveReadings(std::int64_t before) {
    m_Connection.Execute("BEGIN IMMEDIATE");
    const auto removed = RemoveFrom({"readings", "time_ms", "time_ms < ?2"}, before, kStep);
    m_Connection.Execute("COMMIT");
    return removed;
}

std::int64_t HistoryRemoval::RemoveTraces(std::int64_t before) {
    constexpr Rows kTables[] = {{"rollups", "span, minute", "span IN (1, 60) AND minute < ?2 / 60000"},
                                {"input_rollups", "span, minute", "span IN (1, 60) AND minute < ?2 / 60000"},
                                {"gaps", "from_ms", "from_ms < ?2 AND to_ms < ?2"}};
    m_Connection.Execute("BEGIN IMMEDIATE");
    std::int64_t removed = 0;
    for (const auto& rows : kTables)
        removed += RemoveFrom(rows, before, kStep - removed);
    for (const char* sql : kRemoveOthers) {
        SqliteStatement(m_Connection, sql).Bind(1, before).Run();
        removed += m_Connection.Changes();
    }
    m_Connection.Execute("COMMIT");
    return removed;
}

std::int64_t HistoryRemoval::RemoveFrom(const Rows& rows, std::int64_t before, std::int64_t most) {
    const std::string key = std::string("series, ") + rows.Key;
    SqliteStatement remove(m_Connection, std::string("DELETE FROM ") + rows.Table + " WHERE (" + key + ") IN (SELECT " +
                                             key + " FROM " + rows.Table + " WHERE series = ?1 AND " + rows.Which +
                                             " LIMIT ?3)");
    SqliteStatement series(m_Connection, SeriesIn(rows.Table) + "SELECT id FROM s WHERE id IS NOT NULL");
    std::int64_t removed = 0;
    while (removed < most && series.Step()) {
        remove.Bind(1, series.LongNumber(0)).Bind(2, before).Bind(3, most - removed).Run();
        removed += m_Connection.Changes();
    }
    return removed;
}

bool HistoryRemoval::Shrink() {
    if (Pragma("freelist_count") <= kSparePages) return false;
    m_Connection.Execute("PRAGMA incremental_vacuum(" + std::to_string(kPagesPerStep) + ")");
    return Pragma("freelist_count") > kSparePages;
}

std::int64_t HistoryRemoval::Pragma(const char* name) {
    return Ask((std::string("PRAGMA ") + name).c_str()).value_or(0);
}

std::int64_t HistoryRemoval::UsedBytes() {
    return (Pragma("page_count") - Pragma("freelist_count")) * Pragma("page_size");
}

std::optional<std::int64_t> HistoryRemoval::Ask(const char* sql) {
    SqliteStatement question(m_Connection, sql);
    if (!question.Step() || question.IsNull(0)) return std::nullopt;
    return question.LongNumber(0);
}

std::optional<std::int64_t> HistoryRemoval::OldestReading() {
    const auto sql = SeriesIn("readings") +
                     "SELECT min((SELECT min(time_ms) FROM readings WHERE series = id)) FROM s WHERE id IS NOT NULL";
    return Ask(sql.c_str());
}

/// Counted in the series that has the oldest one, so that the clock is no measure.
std::optional<std::int64_t> HistoryRemoval::EndOfOldestReadings() {
    const auto sql = SeriesIn("readings") +
                     "SELECT (SELECT max(time_ms) + 1 FROM (SELECT time_ms FROM readings WHERE series = id "
                     "ORDER BY time_ms LIMIT 500)) FROM s WHERE id IS NOT NULL "
                     "ORDER BY (SELECT min(time_ms) FROM readings WHERE series = id) LIMIT 1";
    return Ask(sql.c_str());
}

std::optional<std::int64_t> HistoryRemoval::OldestRollUp() {
    std::optional<std::int64_t> oldest;
    for (const char* table : {"rollups", "input_rollups"}) {
        const auto sql = SeriesIn(table) + "SELECT min((SELECT min(minute) FROM " + table +
                         " WHERE series = id AND span = 1)) FROM s WHERE id IS NOT NULL";
        const auto minute = Ask(sql.c_str());
        if (minute) oldest = std::min(oldest.value_or(*minute * kMinute), *minute * kMinute);
    }
    return oldest;
}

}  // namespace orvix::station
