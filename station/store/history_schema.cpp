#include "station/store/history_schema.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "host/error.h"
#include "platform/regular_file.h"

namespace orvix::station {
namespace {

using platform::SqliteConnection;

constexpr char kTables[] =
    "CREATE TABLE series(id INTEGER PRIMARY KEY, port TEXT NOT NULL, address INTEGER NOT NULL, model INTEGER NOT NULL,"
    " name TEXT NOT NULL, variable TEXT NOT NULL, UNIQUE(port, address, model, name, variable));"
    "CREATE TABLE readings(series INTEGER NOT NULL, time_ms INTEGER NOT NULL, value REAL NOT NULL,"
    " PRIMARY KEY(series, time_ms)) WITHOUT ROWID;"
    "CREATE TABLE gaps(series INTEGER NOT NULL, from_ms INTEGER NOT NULL, to_ms INTEGER NOT NULL,"
    " count INTEGER NOT NULL, code INTEGER NOT NULL, text TEXT NOT NULL, PRIMARY KEY(series, from_ms)) WITHOUT ROWID;"
    "CREATE TABLE sessions(id INTEGER PRIMARY KEY, start_ms INTEGER NOT NULL, pid INTEGER NOT NULL,"
    " alive_ms INTEGER NOT NULL, ended INTEGER NOT NULL DEFAULT 0, UNIQUE(start_ms, pid));"
    "CREATE TABLE watches(series INTEGER NOT NULL, session INTEGER NOT NULL, from_ms INTEGER NOT NULL,"
    " PRIMARY KEY(series, session)) WITHOUT ROWID;"
    "CREATE TABLE events(session INTEGER NOT NULL, number INTEGER NOT NULL, time_ms INTEGER NOT NULL,"
    " port TEXT NOT NULL, address INTEGER NOT NULL, kind TEXT NOT NULL, text TEXT NOT NULL, value REAL NOT NULL,"
    " ended_ms INTEGER, PRIMARY KEY(session, number)) WITHOUT ROWID;"
    "CREATE INDEX events_by_time ON events(time_ms, session, number);";

void CheckVersion(SqliteConnection& connection) {
    const auto version = connection.Version();
    if (version == kHistoryVersion) return;
    connection.Fail(version == 0 ? "this is no history of readings"
                                 : "layout version " + std::to_string(version) + " of a history is not supported");
}

bool IsEmpty(SqliteConnection& connection) {
    platform::SqliteStatement table(connection, "SELECT 1 FROM sqlite_master");
    return !table.Step();
}

void CreateTables(SqliteConnection& connection) {
    // Has an effect only before the file has its first page.
    connection.Execute("PRAGMA auto_vacuum = INCREMENTAL");
    connection.Execute("PRAGMA journal_mode = WAL");
    connection.Execute("BEGIN IMMEDIATE");
    // Another process may have been faster.
    if (IsEmpty(connection)) {
        connection.Execute(kTables);
        connection.Execute("PRAGMA user_version = " + std::to_string(kHistoryVersion));
    }
    connection.Execute("COMMIT");
}

SqliteConnection OpenChecked(const std::string& file, SqliteConnection::Access access) {
    SqliteConnection connection(file, access);
    CheckVersion(connection);
    return connection;
}

}  // namespace

SqliteConnection OpenHistory(const std::string& file) {
    constexpr mode_t kOwnerOnly = 0600;
    platform::OpenRegularFile(file, O_RDWR | O_CREAT, kOwnerOnly);
    SqliteConnection connection(file);
    if (connection.Version() == 0 && IsEmpty(connection)) CreateTables(connection);
    CheckVersion(connection);
    // A loss of power may cost the latest transactions, but never the file.
    connection.Execute("PRAGMA synchronous = NORMAL");
    connection.Execute("PRAGMA journal_size_limit = 4194304");
    return connection;
}

SqliteConnection OpenHistoryReadOnly(const std::string& file) {
    std::error_code error;
    if (!std::filesystem::exists(file, error)) {
        throw Error(errors::General, "there is no history in " + std::filesystem::path(file).parent_path().string() +
                                         ": it begins with the first nimbo1 run that uses this data folder");
    }
    try {
        return OpenChecked(file, SqliteConnection::Access::ReadOnly);
    } catch (const Error&) {
        // SQLite wants to make companion files beside the file, which tell readers and writers of each other.
        const auto folder = std::filesystem::path(file).parent_path();
        if (::access(file.c_str(), R_OK) != 0 || ::access(folder.c_str(), W_OK) == 0) throw;
    }
    const auto log = file + "-wal";
    if (std::filesystem::exists(log, error) && !std::filesystem::is_empty(log, error)) {
        throw Error(errors::General, "database " + file +
                                         ": its folder cannot be written, and its latest rows are still in " + log +
                                         "; copy both files into a folder of your own and name it with --data");
    }
    return OpenChecked(file, SqliteConnection::Access::Immutable);
}

}  // namespace orvix::station
