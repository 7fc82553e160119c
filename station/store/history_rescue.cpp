#include "station/store/history_rescue.h"

#include <unistd.h>

#include "host/error.h"
#include "platform/regular_file.h"
#include "station/store/damaged_file.h"
#include "station/store/history_schema.h"

namespace orvix::station {
namespace {

using platform::SqliteConnection;

constexpr CopiedTable kTables[] = {
    {"devices", "number, id, serial, model", "number"},
    {"sessions", "id, uuid, start_ms, pid, alive_ms, beat_ms, ended", "id"},
    {"series", "id, device, variable, session, name, bus, port, address, from_ms, to_ms, ended, rolled_ms, sparse",
     "id"},
    {"alarms",
     "id, session, seq, holder, device, port, kind, from_ms, to_ms, value, text, acknowledged_ms, acknowledged_by, "
     "comment",
     "id"},
    {"events", "id, session, time_ms, kind, text", "id"},
    {"gaps", "series, from_ms, to_ms, count, code, text, seq, last_seq", "series, from_ms"},
    {"rollups", "series, span, minute, count, doubtful, lowest, highest, sum", "series, span, minute"},
    {"input_rollups",
     "series, span, minute, count, doubtful, observed_ms, on1_ms, on2_ms, on3_ms, on4_ms, on5_ms, on6_ms, on7_ms, "
     "on8_ms",
     "series, span, minute"},
    {"brokers", "name, n", "name"},
    {"outbox", "n, session, seq, series, time", "n"},
    {"readings", "series, time_ms, value, seq, doubt", "series, time_ms"},
};

// What rows refer to that could not be read. Readings of a series that is lost become those of a device of their own.
constexpr char kFillIn[] =
    "INSERT INTO series(id, device, variable, name, bus, port, address, from_ms, to_ms)"
    " SELECT series, -series, iif(EXISTS(SELECT 1 FROM input_rollups AS i WHERE i.series = r.series), 'inputs',"
    " 'temperature'), 'lost ' || series, '', '', 0, min(time_ms), max(time_ms) FROM readings AS r"
    " WHERE series NOT IN (SELECT id FROM series) GROUP BY series;"
    "INSERT INTO devices(number, id, model) SELECT DISTINCT device, 'lost' || device, 0 FROM series"
    " WHERE device NOT IN (SELECT number FROM devices);"
    "INSERT INTO sessions(id, uuid, start_ms, pid, alive_ms, ended) SELECT session, 'lost ' || session, min(from_ms), "
    "0,"
    " max(coalesce(to_ms, (SELECT max(time_ms) FROM readings WHERE series = series.id), from_ms)), 1"
    " FROM series WHERE session NOT IN (SELECT id FROM sessions) GROUP BY session;"
    // The numbers of an outbox that could not be read are given anew.
    "UPDATE brokers SET n = min(n, (SELECT coalesce(max(n), 0) FROM outbox));";

/// Returns how many readings have come over.
std::int64_t CopyTables(SqliteConnection& from, SqliteConnection& to) {
    std::int64_t copied = 0;
    for (const auto& table : kTables)
        copied = CopyTable(from, to, table);
    to.Execute(kFillIn);
    return copied;
}

/// Makes a new history of what can be read of an old one. Returns how many readings that are.
std::int64_t MakeNew(const std::string& file, const std::string& old) {
    RemoveDatabase(file);
    auto to = OpenHistory(file);
    // A file that is not finished is thrown away.
    to.Execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; BEGIN");
    std::int64_t readings = 0;
    try {
        auto from = OpenDamagedHistory(old);
        readings = CopyTables(from, to);
    } catch (const platform::UnusableDatabase&) {
        // Nothing can be read.
    }
    to.Execute("COMMIT; PRAGMA synchronous = FULL; PRAGMA journal_mode = WAL");
    return readings;
}

}  // namespace

std::string ReplaceUnusableHistory(const std::string& file, std::int64_t now) {
    platform::RequireRegularFile(file, R_OK);
    const auto aside = AsideName(file, now);
    const auto made = file + ".new";
    const auto readings = MakeNew(made, file);
    PutInPlace(file, made, aside);
    return "it is kept as " + aside + ", and a new one goes on" +
           (readings == 0 ? "; nothing in it could be read"
                          : " with the " + std::to_string(readings) + " readings that could be read");
}

}  // namespace orvix::station
