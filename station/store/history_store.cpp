#include "station/store/history_store.h"

#include <filesystem>
#include <limits>

#include "host/error.h"
#include "station/store/alarm_query.h"
#include "station/store/history_schema.h"
#include "station/store/series_cursor.h"

namespace orvix::station {
namespace {

using platform::SqliteStatement;

// Rolling up so many rows takes some 20 ms.
constexpr int kLeftOverRows = 20'000;

// Readings of layout 1 are not told by run, so a state of inputs that lasts longer may be a time without the station.
constexpr std::int64_t kLongestLeftOverHold = kMinute;

std::int64_t HourOf(std::int64_t time) {
    return time / kHour * kHour;
}

}  // namespace

HistoryStore::HistoryStore(const std::string& file, const HistorySession& session, std::int64_t now)
    : m_File(file),
      m_Connection(OpenHistory(file)),
      // Nothing is changed when the same millisecond has another value.
      m_AddReading(m_Connection,
                   "INSERT INTO readings(series, time_ms, value, seq, doubt) VALUES(?, ?, ?, ?, ?) "
                   "ON CONFLICT DO UPDATE SET value = value WHERE seq = excluded.seq"),
      m_PutGap(m_Connection,
               "INSERT INTO gaps(series, from_ms, to_ms, count, code, text, seq, last_seq) "
               "VALUES(?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT DO UPDATE SET to_ms = max(to_ms, excluded.to_ms), "
               "count = max(count, excluded.count), last_seq = max(last_seq, excluded.last_seq)"),
      m_Temperatures(m_Connection, false),
      m_Inputs(m_Connection, true),
      m_Removal(m_Connection),
      m_Outbox(m_Connection) {
    KeepLogSmall();
    SqliteStatement(m_Connection,
                    "INSERT INTO sessions(uuid, start_ms, pid, alive_ms, beat_ms) VALUES(?, ?, ?, ?, ?) "
                    "ON CONFLICT DO NOTHING")
        .Bind(1, session.Uuid)
        .Bind(2, session.Start)
        .Bind(3, session.Process)
        .Bind(4, now)
        .Bind(5, session.Beat)
        .Run();
    SqliteStatement row(m_Connection, "SELECT id FROM sessions WHERE uuid = ?");
    row.Bind(1, session.Uuid).Step();
    m_Session = row.LongNumber(0);
}

void HistoryStore::Write(const HistoryBatch& batch, std::int64_t now) {
    m_Connection.Execute("BEGIN IMMEDIATE");
    m_Outbox.SetBrokers(batch.Brokers);
    for (const auto& [who, n] : batch.Acknowledgements)
        m_Outbox.Acknowledge(who, n);
    WriteSeries(batch);
    for (const auto& reading : batch.Readings)
        WriteReading(m_SeriesRows[reading.Series], reading);
    for (const auto& [key, gap] : batch.Gaps)
        WriteGap(m_SeriesRows[key.first], key.second, gap);
    for (const auto& [series, complete] : batch.Minutes)
        WriteMinutes(m_SeriesRows[series], batch.Series[series].Key.IsInputs(), complete);
    for (const auto& [series, name] : batch.Names) {
        SqliteStatement(m_Connection, "UPDATE series SET name = ? WHERE id = ?")
            .Bind(1, name)
            .Bind(2, m_SeriesRows[series])
            .Run();
    }
    for (const auto& [identifier, serialNumber] : batch.SerialNumbers) {
        SqliteStatement(m_Connection, "UPDATE devices SET serial = ? WHERE id = ?")
            .Bind(1, serialNumber)
            .Bind(2, identifier)
            .Run();
    }
    for (const auto& [series, end] : batch.Ends)
        EndSeries(m_SeriesRows[series], batch.Series[series].Key.IsInputs(), end.first, end.second);
    for (const auto& [id, alarm] : batch.Alarms)
        WriteAlarm(alarm, now);
    for (const auto& event : batch.Events) {
        SqliteStatement(m_Connection, "INSERT INTO events(session, time_ms, kind, text) VALUES(?, ?, ?, ?)")
            .Bind(1, m_Session)
            .Bind(2, event.Time)
            .Bind(3, event.Kind)
            .Bind(4, event.Text)
            .Run();
    }
    m_Outbox.WriteEntries();
    SqliteStatement(m_Connection, "UPDATE sessions SET alive_ms = ? WHERE id = ?")
        .Bind(1, now)
        .Bind(2, m_Session)
        .Run();
    m_Connection.Execute("COMMIT");
    KeepLogSmall();
}

/// The log of the latest changes takes megabytes before it is brought into the file by itself. A disk that is nearly
/// full has no room for both, and none to end this once it is full.
void HistoryStore::KeepLogSmall() {
    constexpr std::uintmax_t kPlenty = 16UL * 1024 * 1024;
    std::error_code unknown;
    if (std::filesystem::space(m_File, unknown).available >= kPlenty) return;
    // What is in the log is written, whatever becomes of this.
    Attempt([this] { m_Connection.Execute("PRAGMA wal_checkpoint(TRUNCATE)"); });
}

void HistoryStore::WriteSeries(const HistoryBatch& batch) {
    for (auto index = m_SeriesRows.size(); index < batch.Series.size(); ++index)
        m_SeriesRows.push_back(SeriesOf(batch.Series[index]));
}

/// A store that was opened anew finds the series that this session has begun.
std::int64_t HistoryStore::SeriesOf(const SeriesRow& series) {
    const auto& key = series.Key;
    const auto device = DeviceOf(series);
    SqliteStatement select(m_Connection,
                           "SELECT id FROM series WHERE port = ? AND address = ? AND variable = ? AND from_ms = ? "
                           "AND session = ? AND device = ?");
    select.Bind(1, key.Port).Bind(2, key.Address).Bind(3, key.Variable).Bind(4, series.From).Bind(5, m_Session);
    if (select.Bind(6, device).Step()) return select.LongNumber(0);
    SqliteStatement insert(m_Connection,
                           "INSERT INTO series(device, variable, session, name, bus, port, address, from_ms, "
                           "rolled_ms, sparse) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?8, ?9) RETURNING id");
    insert.Bind(1, device).Bind(2, key.Variable).Bind(3, m_Session).Bind(4, key.Name);
    insert.Bind(5, std::filesystem::path(key.Port).filename().string()).Bind(6, key.Port).Bind(7, key.Address);
    insert.Bind(8, series.From).Bind(9, series.IsSparse ? 1 : 0).Step();
    return insert.LongNumber(0);
}

std::int64_t HistoryStore::DeviceOf(const SeriesRow& series) {
    const auto& [key, identifier, from, isSparse] = series;
    SqliteStatement known(m_Connection, "SELECT number FROM devices WHERE id = ?");
    if (known.Bind(1, identifier).Step()) return known.LongNumber(0);
    // One that nobody has asked for its serial number is the one that comes to be known at its place.
    SqliteStatement name(m_Connection,
                         "UPDATE devices SET id = ?1, serial = ?2 WHERE serial = '' AND model = ?3 AND number = "
                         "(SELECT device FROM series WHERE port = ?4 AND address = ?5 ORDER BY id DESC LIMIT 1) "
                         "RETURNING number");
    name.Bind(1, identifier).Bind(2, kTellsNone).Bind(3, key.Model).Bind(4, key.Port).Bind(5, key.Address);
    if (name.Step()) return name.LongNumber(0);
    SqliteStatement insert(m_Connection, "INSERT INTO devices(id, serial, model) VALUES(?, ?, ?) RETURNING number");
    insert.Bind(1, identifier).Bind(2, kTellsNone).Bind(3, key.Model).Step();
    return insert.LongNumber(0);
}

void HistoryStore::WriteReading(std::int64_t series, const ReadingRow& reading) {
    m_AddReading.Bind(1, series).Bind(3, reading.Value).Bind(4, reading.Seq).Bind(5, static_cast<int>(reading.Why));
    const auto isAddedAt = [this](std::int64_t time) {
        m_AddReading.Bind(2, time).Run();
        return m_Connection.Changes() > 0;
    };
    // A series has one reading a millisecond: one that comes within the same as another gets the next that is free.
    auto time = reading.Time;
    while (!isAddedAt(time))
        ++time;
    m_Outbox.Add({m_Session, reading.Seq, series, time});
}

void HistoryStore::WriteGap(std::int64_t series, std::int64_t from, const Gap& gap) {
    m_PutGap.Bind(1, series).Bind(2, from).Bind(3, gap.To).Bind(4, gap.Count).Bind(5, gap.Code).Bind(6, gap.Text);
    m_PutGap.Bind(7, gap.Seq).Bind(8, gap.LastSeq).Run();
    m_Outbox.Add({m_Session, gap.LastSeq, series, gap.To});
}

std::int64_t HistoryStore::RolledUntil(std::int64_t series) {
    SqliteStatement select(m_Connection, "SELECT rolled_ms FROM series WHERE id = ?");
    select.Bind(1, series).Step();
    return select.LongNumber(0);
}

void HistoryStore::WriteMinutes(std::int64_t series, bool isInputs, const CompleteMinutes& complete) {
    auto& table = RollUps(isInputs);
    for (const auto& minute : complete.Minutes)
        table.Write(series, minute);
    const auto before = HourOf(RolledUntil(series));
    if (HourOf(complete.Until) > before) table.MakeHours(series, before, HourOf(complete.Until));
    SqliteStatement(m_Connection, "UPDATE series SET rolled_ms = ? WHERE id = ?")
        .Bind(1, complete.Until)
        .Bind(2, series)
        .Run();
}

void HistoryStore::EndSeries(std::int64_t series, bool isInputs, std::int64_t time, SeriesEnd end) {
    SqliteStatement(m_Connection, "UPDATE series SET to_ms = ?, ended = ? WHERE id = ?")
        .Bind(1, time)
        .Bind(2, static_cast<int>(end))
        .Bind(3, series)
        .Run();
    FinishRollUps(series, isInputs, time);
}

void HistoryStore::FinishRollUps(std::int64_t series, bool isInputs, std::int64_t end) {
    RollUps(isInputs).MakeHours(series, HourOf(RolledUntil(series)), HourOf(end) + kHour);
    SqliteStatement(m_Connection, "UPDATE series SET rolled_ms = NULL WHERE id = ?").Bind(1, series).Run();
}

/// The row of an alarm that an earlier session has seen is that session's; this one holds it from now on.
void HistoryStore::WriteAlarm(const AlarmState& alarm, std::int64_t now) {
    SqliteStatement change(m_Connection,
                           "UPDATE alarms SET holder = ?1, to_ms = ?2, acknowledged_ms = ?3, acknowledged_by = ?4, "
                           "comment = ?5 WHERE id = ?6");
    SqliteStatement add(
        m_Connection,
        "INSERT OR IGNORE INTO alarms(holder, to_ms, acknowledged_ms, acknowledged_by, comment, session, seq, "
        "device, port, kind, from_ms, value, text) VALUES(?1, ?2, ?3, ?4, ?5, ?1, ?6, "
        "(SELECT number FROM devices WHERE id = ?7), ?8, ?9, ?10, ?11, ?12)");
    const auto row = RowOfAlarm(m_Connection, alarm.Alarm);
    auto& put = row ? change : add;
    put.Bind(1, m_Session).BindNull(2).BindNull(3).BindNull(4).BindNull(5);
    if (alarm.Ended) put.Bind(2, *alarm.Ended);
    if (const auto& known = alarm.Acknowledged)
        put.Bind(3, known->UnixMilliseconds).Bind(4, known->By).Bind(5, known->Comment);
    if (row) {
        put.Bind(6, *row).Run();
    } else {
        put.Bind(6, SeqOfAlarm(alarm.Alarm)).Bind(7, alarm.Identifier).Bind(8, alarm.Port).Bind(9, alarm.Kind);
        put.Bind(10, alarm.Started).Bind(11, alarm.Value).Bind(12, alarm.Text).Run();
    }
    AddToOutbox(alarm.Alarm, now);
}

void HistoryStore::AddToOutbox(const std::string& alarm, std::int64_t now) {
    SqliteStatement row(m_Connection, "SELECT session, seq FROM alarms WHERE id = ? AND seq NOT NULL");
    const auto id = RowOfAlarm(m_Connection, alarm);
    if (id && row.Bind(1, *id).Step()) m_Outbox.Add({row.LongNumber(0), row.LongNumber(1), std::nullopt, now});
}

void HistoryStore::End() {
    SqliteStatement(m_Connection, "UPDATE sessions SET ended = 1 WHERE id = ?").Bind(1, m_Session).Run();
}

std::optional<std::int64_t> HistoryStore::Newest() {
    SqliteStatement newest(m_Connection,
                           "SELECT max((SELECT max(time_ms) FROM readings WHERE series = id)) FROM series "
                           "WHERE session IS NULL OR session = (SELECT max(session) FROM series)");
    if (!newest.Step() || newest.IsNull(0)) return std::nullopt;
    return newest.LongNumber(0);
}

bool HistoryStore::RollUpLeftOver(std::int64_t now) {
    SqliteStatement next(m_Connection,
                         "SELECT series.id, variable, coalesce(to_ms, alive_ms, from_ms), rolled_ms, session IS NULL "
                         "FROM series LEFT JOIN sessions ON sessions.id = session WHERE rolled_ms IS NOT NULL "
                         "AND session IS NOT ?1 AND (session IS NULL OR sessions.ended "
                         "OR ?2 NOT BETWEEN alive_ms AND alive_ms + 3 * beat_ms) LIMIT 1");
    if (!next.Bind(1, m_Session).Bind(2, now).Step()) return false;
    StoredDevice device;
    device.Key.Variable = next.Text(1);
    const auto series = next.LongNumber(0);
    const auto end = next.LongNumber(2);
    const auto since = next.LongNumber(3);
    RollUp rollUp(device.IsInputs(), next.Number(4) != 0 ? kLongestLeftOverHold : kLongestHold);
    next.Reset();

    m_Connection.Execute("BEGIN IMMEDIATE");
    SeriesCursor rows(m_Connection, device, series, {since, std::numeric_limits<std::int64_t>::max()});
    // At least one minute.
    for (int count = 0; rows.Current() != nullptr && (count < kLeftOverRows || rollUp.CompleteUntil() <= since);
         ++count) {
        AddTo(rollUp, *rows.Current());
        rows.Next();
    }
    const bool isEnd = rows.Current() == nullptr;
    if (isEnd) rollUp.End(end);
    WriteMinutes(series, device.IsInputs(), {rollUp.TakeComplete(), std::max(since, rollUp.CompleteUntil())});
    if (isEnd) FinishRollUps(series, device.IsInputs(), std::max(end, rollUp.CompleteUntil()));
    m_Connection.Execute("COMMIT");
    return true;
}

}  // namespace orvix::station
