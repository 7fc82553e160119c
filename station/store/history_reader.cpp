#include "station/store/history_reader.h"

#include <algorithm>
#include <list>
#include <map>
#include <queue>

#include "host/error.h"
#include "host/text.h"
#include "station/store/history_schema.h"
#include "station/store/series_cursor.h"

namespace orvix::station {
namespace {

using platform::SqliteStatement;

bool IsOf(const SeriesKey& key, const HistoryQuery& query) {
    if (!query.Port.empty() && key.Port != query.Port) return false;
    return query.Device.empty() || std::to_string(key.Address) == query.Device ||
           EqualsIgnoringCase(key.Name, query.Device);
}

[[noreturn]] void FailToFind(const HistoryQuery& query, const std::vector<StoredSeries>& all) {
    std::string known;
    for (const auto& [row, key] : all)
        known += (known.empty() ? "" : ", ") + std::to_string(key.Address) + " " + key.Name + " on " + key.Port;
    const std::string device = query.Device.empty() ? "" : " of device " + query.Device;
    const std::string port = query.Port.empty() ? "" : " on " + query.Port;
    throw Error(errors::General, "the history has nothing" + device + port + "; it has " +
                                     (known.empty() ? "no reading at all" : known));
}

std::int64_t Overlap(const HistoryRow& row, const Period& period) {
    return std::max<std::int64_t>(0, std::min(row.Until, period.Until) - std::max(row.Time, period.Since));
}

}  // namespace

bool StoredSeries::IsInputs() const {
    return Key.Variable == NameOf(ORVIXCNB1_VAR_INPUTBYTE);
}

HistoryReader::HistoryReader(const std::string& file, std::int64_t now)
    : m_Connection(OpenHistoryReadOnly(file)), m_Now(now) {}

std::vector<StoredSeries> HistoryReader::AllSeries() {
    std::vector<StoredSeries> all;
    SqliteStatement select(m_Connection,
                           "SELECT id, port, address, model, name, variable FROM series ORDER BY port, address, id");
    while (select.Step()) {
        all.push_back({select.LongNumber(0),
                       {select.Text(1), select.Number(2), select.Number(3), select.Text(4), select.Text(5)}});
    }
    return all;
}

std::vector<StoredSeries> HistoryReader::Find(const HistoryQuery& query) {
    const auto all = AllSeries();
    std::vector<StoredSeries> found;
    std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                 [&](const StoredSeries& series) { return IsOf(series.Key, query); });
    if (found.empty()) FailToFind(query, all);
    return found;
}

std::vector<HistoryRow> HistoryReader::TimesNotRunning(const StoredSeries& series, const Period& period) {
    std::vector<HistoryRow> rows;
    std::optional<std::int64_t> covered;
    const auto add = [&](std::int64_t until) {
        HistoryRow row{.Series = &series, .Time = *covered, .Value = {}, .Until = until, .Reason = {}};
        row.Reason.Text = "The station was not running";
        if (Overlap(row, period) > 0) rows.push_back(row);
    };
    SqliteStatement select(m_Connection,
                           "SELECT from_ms, alive_ms FROM watches JOIN sessions ON id = session WHERE series = ? "
                           "ORDER BY from_ms");
    select.Bind(1, series.Row);
    while (select.Step()) {
        if (covered && select.LongNumber(0) > *covered) add(select.LongNumber(0));
        covered = std::max(covered.value_or(0), select.LongNumber(1));
    }
    const auto end = std::min(period.Until, m_Now);
    if (covered && end > *covered + kAliveMilliseconds) add(end);
    return rows;
}

void HistoryReader::Read(const std::vector<StoredSeries>& series, const Period& period,
                         const std::function<bool(const HistoryRow&)>& take) {
    const auto isLater = [](const SeriesCursor* a, const SeriesCursor* b) {
        const auto& [rowA, rowB] = std::pair(a->Current(), b->Current());
        return std::pair(rowA->Time, rowA->Series) > std::pair(rowB->Time, rowB->Series);
    };
    std::priority_queue<SeriesCursor*, std::vector<SeriesCursor*>, decltype(isLater)> next(isLater);
    std::list<SeriesCursor> cursors;
    for (const auto& one : series) {
        cursors.emplace_back(m_Connection, one, period, TimesNotRunning(one, period));
        if (cursors.back().Current() != nullptr) next.push(&cursors.back());
    }
    while (!next.empty()) {
        auto* cursor = next.top();
        next.pop();
        if (!take(*cursor->Current())) return;
        cursor->Next();
        if (cursor->Current() != nullptr) next.push(cursor);
    }
}

SeriesSummary HistoryReader::Summarize(const StoredSeries& series, const Period& period) {
    SeriesSummary summary;
    summary.Series = series;
    SqliteStatement readings(m_Connection,
                             "SELECT count(*), min(value), avg(value), max(value) FROM readings "
                             "WHERE series = ? AND time_ms >= ? AND time_ms < ?");
    readings.Bind(1, series.Row).Bind(2, period.Since).Bind(3, period.Until).Step();
    summary.Count = readings.LongNumber(0);
    if (summary.Count > 0 && !series.IsInputs()) {
        summary.Range = {readings.Real(1), readings.Real(2), readings.Real(3)};
    }
    SqliteStatement gaps(m_Connection,
                         "SELECT count(*), total(count), total(min(to_ms, ?3) - max(from_ms, ?2)) FROM gaps "
                         "WHERE series = ?1 AND from_ms < ?3 AND to_ms >= ?2");
    gaps.Bind(1, series.Row).Bind(2, period.Since).Bind(3, period.Until).Step();
    summary.Gaps = gaps.LongNumber(0);
    summary.Failed = gaps.LongNumber(1);
    summary.GapTime = std::chrono::milliseconds(gaps.LongNumber(2));
    for (const auto& row : TimesNotRunning(series, period))
        summary.NotRunning += std::chrono::milliseconds(Overlap(row, period));
    return summary;
}

AlarmRow HistoryReader::AlarmOf(SqliteStatement& row) const {
    AlarmRow alarm;
    alarm.Event = {.Time = row.LongNumber(0),
                   .Port = row.Text(3),
                   .Address = row.Number(4),
                   .Kind = row.Text(5),
                   .Text = row.Text(6),
                   .Value = row.Real(7),
                   .Ended = {}};
    const auto alive = row.LongNumber(9);
    if (!row.IsNull(8)) {
        alarm.Ended = AlarmRow::End::Ended;
        alarm.Event.Ended = alarm.Until = row.LongNumber(8);
    } else if (row.Number(10) != 0 || m_Now > alive + kAliveMilliseconds) {
        alarm.Ended = AlarmRow::End::StationStopped;
        alarm.Until = alive;
    }
    return alarm;
}

void HistoryReader::ReadAlarms(const std::vector<StoredSeries>& series, const Period& period,
                               const std::function<bool(const AlarmRow&)>& take) {
    constexpr std::size_t kPageRows = 512;
    std::map<std::pair<std::string, int>, std::string> names;
    for (const auto& [row, key] : series)
        names[{key.Port, key.Address}] = key.Name;
    SqliteStatement select(m_Connection,
                           "SELECT time_ms, session, number, port, address, kind, text, value, ended_ms, alive_ms, "
                           "ended FROM events JOIN sessions ON id = session "
                           "WHERE (time_ms, session, number) > (?1, ?2, ?3) AND time_ms < ?4 "
                           "AND coalesce(ended_ms, alive_ms) >= ?5 ORDER BY time_ms, session, number LIMIT ?6");
    select.Bind(1, std::int64_t{0}).Bind(2, std::int64_t{0}).Bind(3, std::int64_t{0});
    select.Bind(4, period.Until).Bind(5, period.Since).Bind(6, std::int64_t{kPageRows});
    std::vector<AlarmRow> page;
    do {
        page.clear();
        std::int64_t session = 0;
        std::int64_t number = 0;
        while (select.Step()) {
            page.push_back(AlarmOf(select));
            session = select.LongNumber(1);
            number = select.LongNumber(2);
        }
        select.Reset();
        if (!page.empty()) select.Bind(1, page.back().Event.Time).Bind(2, session).Bind(3, number);
        for (auto& alarm : page) {
            const auto name = names.find({alarm.Event.Port, alarm.Event.Address});
            if (name == names.end()) continue;
            alarm.Name = name->second;
            if (!take(alarm)) return;
        }
    } while (page.size() == kPageRows);
}

}  // namespace orvix::station
