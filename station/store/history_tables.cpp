#include "station/store/history_tables.h"

#include <string>

#include "host/text.h"
#include "station/store/uuid.h"

namespace orvix::station {
namespace {

using platform::SqliteConnection;
using platform::SqliteStatement;

// The large tables have their rows in the order in which they are asked for, and no other index.
constexpr char kRows[] =
    "CREATE TABLE readings(series INTEGER NOT NULL, time_ms INTEGER NOT NULL, value REAL NOT NULL,"
    " seq INTEGER NOT NULL DEFAULT 0, doubt INTEGER NOT NULL DEFAULT 0, PRIMARY KEY(series, time_ms)) WITHOUT ROWID;"
    "CREATE TABLE gaps(series INTEGER NOT NULL, from_ms INTEGER NOT NULL, to_ms INTEGER NOT NULL,"
    " count INTEGER NOT NULL, code INTEGER NOT NULL, text TEXT NOT NULL, seq INTEGER NOT NULL DEFAULT 0,"
    " last_seq INTEGER NOT NULL DEFAULT 0, PRIMARY KEY(series, from_ms)) WITHOUT ROWID;";

constexpr char kOtherTables[] =
    "CREATE TABLE history(uuid TEXT NOT NULL);"
    "CREATE TABLE devices(number INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, serial TEXT NOT NULL DEFAULT '',"
    " model INTEGER NOT NULL);"
    "CREATE TABLE sessions(id INTEGER PRIMARY KEY, uuid TEXT NOT NULL UNIQUE, start_ms INTEGER NOT NULL,"
    " pid INTEGER NOT NULL, alive_ms INTEGER NOT NULL, beat_ms INTEGER NOT NULL DEFAULT 1000,"
    " ended INTEGER NOT NULL DEFAULT 0);"
    "CREATE TABLE series(id INTEGER PRIMARY KEY, device INTEGER NOT NULL, variable TEXT NOT NULL, session INTEGER,"
    " name TEXT NOT NULL, bus TEXT NOT NULL, port TEXT NOT NULL, address INTEGER NOT NULL, from_ms INTEGER NOT NULL,"
    " to_ms INTEGER, ended INTEGER, rolled_ms INTEGER, sparse INTEGER NOT NULL DEFAULT 0);"
    "CREATE TABLE rollups(series INTEGER NOT NULL, span INTEGER NOT NULL, minute INTEGER NOT NULL,"
    " count INTEGER NOT NULL, doubtful INTEGER NOT NULL, lowest REAL, highest REAL, sum REAL,"
    " PRIMARY KEY(series, span, minute)) WITHOUT ROWID;"
    "CREATE TABLE input_rollups(series INTEGER NOT NULL, span INTEGER NOT NULL, minute INTEGER NOT NULL,"
    " count INTEGER NOT NULL, doubtful INTEGER NOT NULL, observed_ms INTEGER NOT NULL, on1_ms INTEGER NOT NULL,"
    " on2_ms INTEGER NOT NULL, on3_ms INTEGER NOT NULL, on4_ms INTEGER NOT NULL, on5_ms INTEGER NOT NULL,"
    " on6_ms INTEGER NOT NULL, on7_ms INTEGER NOT NULL, on8_ms INTEGER NOT NULL,"
    " PRIMARY KEY(series, span, minute)) WITHOUT ROWID;"
    "CREATE TABLE alarms(id INTEGER PRIMARY KEY AUTOINCREMENT, session INTEGER NOT NULL, seq INTEGER,"
    " holder INTEGER NOT NULL, device INTEGER, port TEXT NOT NULL, kind TEXT NOT NULL, from_ms INTEGER NOT NULL,"
    " to_ms INTEGER, value REAL NOT NULL, text TEXT NOT NULL, acknowledged_ms INTEGER, acknowledged_by TEXT,"
    " comment TEXT, UNIQUE(session, seq));"
    "CREATE TABLE events(id INTEGER PRIMARY KEY, session INTEGER NOT NULL, time_ms INTEGER NOT NULL,"
    " kind TEXT NOT NULL, text TEXT NOT NULL);"
    "CREATE TABLE outbox(n INTEGER PRIMARY KEY AUTOINCREMENT, session INTEGER NOT NULL, seq INTEGER NOT NULL,"
    " series INTEGER, time INTEGER NOT NULL);"
    "CREATE TABLE brokers(name TEXT PRIMARY KEY, n INTEGER NOT NULL) WITHOUT ROWID;";

constexpr char kIndexes[] =
    "CREATE INDEX series_by_device ON series(device, variable, from_ms);"
    "CREATE INDEX series_by_place ON series(port, address);"
    "CREATE INDEX alarms_by_time ON alarms(from_ms, id);";

// What layout 1 called a series had a name, a port and an address, so that a device had several; which runs had read it
// was a table of its own. Here a watch becomes a series without rows.
constexpr char kMoveRows[] =
    "INSERT INTO devices(number, id, model)"
    " SELECT min(id), 'd' || min(id), model FROM old_series GROUP BY port, address, model;"
    "INSERT INTO sessions(id, uuid, start_ms, pid, alive_ms, ended)"
    " SELECT id, id, start_ms, pid, alive_ms, ended FROM old_sessions;"
    "INSERT INTO series(id, device, variable, name, bus, port, address, from_ms, to_ms, rolled_ms)"
    " SELECT id, (SELECT min(id) FROM old_series AS o WHERE (o.port, o.address, o.model) = (s.port, s.address, "
    "s.model)),"
    " variable, name, replace(port, rtrim(port, replace(port, '/', '')), ''), port, address,"
    " first, last, first FROM (SELECT *, coalesce((SELECT min(t) FROM"
    " (SELECT min(time_ms) AS t FROM readings WHERE series = o.id"
    " UNION ALL SELECT min(from_ms) FROM gaps WHERE series = o.id)), 0) AS first, coalesce((SELECT max(t) FROM"
    " (SELECT max(time_ms) AS t FROM readings WHERE series = o.id"
    " UNION ALL SELECT * FROM (SELECT to_ms FROM gaps WHERE series = o.id ORDER BY from_ms DESC LIMIT 1))), 0) AS last"
    " FROM old_series AS o) AS s;"
    "INSERT INTO series(device, variable, session, name, bus, port, address, from_ms)"
    " SELECT device, variable, w.session, name, bus, port, address, w.from_ms FROM old_watches AS w"
    " JOIN series AS s ON s.id = w.series ORDER BY w.session, w.series;"
    "INSERT INTO alarms(session, holder, device, port, kind, from_ms, to_ms, value, text)"
    " SELECT session, session, (SELECT max(device) FROM series AS s"
    " WHERE (s.port, s.address) = (e.port, e.address)), port, kind, time_ms, ended_ms, value, text"
    " FROM old_events AS e ORDER BY time_ms, session, number;";

void GiveUuids(SqliteConnection& connection) {
    SqliteStatement(connection, "INSERT INTO history(uuid) VALUES(?)").Bind(1, NewUuid()).Run();
    SqliteStatement give(connection, "UPDATE sessions SET uuid = ? WHERE id = ?");
    SqliteStatement sessions(connection, "SELECT id FROM sessions WHERE uuid NOT LIKE '%-%'");
    std::vector<std::int64_t> ids;
    while (sessions.Step())
        ids.push_back(sessions.LongNumber(0));
    for (const auto id : ids)
        give.Bind(1, NewUuid()).Bind(2, id).Run();
}

}  // namespace

void CreateHistoryTables(SqliteConnection& connection) {
    connection.Execute(kRows);
    connection.Execute(kOtherTables);
    connection.Execute(kIndexes);
    GiveUuids(connection);
}

void MigrateHistory(SqliteConnection& connection) {
    for (const char* table : {"series", "watches", "sessions", "events"})
        connection.Execute(std::string("ALTER TABLE ") + table + " RENAME TO old_" + table);
    for (const char* column : {"readings ADD seq", "readings ADD doubt", "gaps ADD seq", "gaps ADD last_seq"})
        connection.Execute(std::string("ALTER TABLE ") + column + " INTEGER NOT NULL DEFAULT 0");
    connection.Execute(kOtherTables);
    connection.Execute(kMoveRows);
    for (const char* table : {"series", "watches", "sessions", "events"})
        connection.Execute(std::string("DROP TABLE old_") + table);
    connection.Execute(kIndexes);
    GiveUuids(connection);
}

void ShowAsLayout2(SqliteConnection& connection) {
    connection.Execute("PRAGMA temp_store = MEMORY");
    for (const std::string table : {"series", "watches", "sessions", "events"})
        connection.Execute(ReplaceAll("CREATE TEMP VIEW old_TABLE AS SELECT * FROM main.TABLE", "TABLE", table));
    connection.Execute(
        "CREATE TEMP VIEW readings AS SELECT series, time_ms, value, 0 AS seq, 0 AS doubt FROM main.readings;"
        "CREATE TEMP VIEW gaps AS SELECT *, 0 AS seq, 0 AS last_seq FROM main.gaps");
    connection.Execute(ReplaceAll(kOtherTables, "CREATE TABLE", "CREATE TEMP TABLE"));
    connection.Execute(kMoveRows);
    GiveUuids(connection);
}

}  // namespace orvix::station
