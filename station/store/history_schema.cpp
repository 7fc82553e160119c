#include "station/store/history_schema.h"

#include <unistd.h>

#include <filesystem>

#include "host/error.h"
#include "platform/regular_file.h"
#include "station/model/bus_setup.h"
#include "station/model/version.h"
#include "station/store/history_tables.h"

namespace orvix::station {
namespace {

using platform::SqliteConnection;

constexpr std::int32_t kOldVersion = 1;

void CheckVersion(SqliteConnection& connection) {
    const auto version = connection.Version();
    if (version == kHistoryVersion) return;
    connection.Refuse(version == 0 ? "this is not a history of readings"
                                   : "layout version " + std::to_string(version) + " of a history is not supported");
}

bool IsEmpty(SqliteConnection& connection) {
    platform::SqliteStatement table(connection, "SELECT 1 FROM sqlite_master");
    return !table.Step();
}

/// In one transaction, before which another process may have been faster.
void BringUpToDate(SqliteConnection& connection) {
    connection.Execute("BEGIN IMMEDIATE");
    const auto version = connection.Version();
    const bool isNew = version == 0 && IsEmpty(connection);
    if (isNew) CreateHistoryTables(connection);
    if (version == kOldVersion) MigrateHistory(connection);
    if (isNew || version == kOldVersion) {
        connection.Execute("PRAGMA user_version = " + std::to_string(kHistoryVersion));
    }
    connection.Execute("COMMIT");
}

SqliteConnection OpenChecked(const std::string& file, SqliteConnection::Access access) {
    SqliteConnection connection(file, access);
    if (connection.Version() == kOldVersion) {
        ShowAsLayout2(connection);
    } else {
        CheckVersion(connection);
    }
    return connection;
}

bool HasPort(const std::string& file, const std::string& port) {
    bool has = false;
    Attempt([&] {
        auto history = OpenHistoryReadOnly(file);
        has = platform::SqliteStatement(history, "SELECT 1 FROM series WHERE port = ?").Bind(1, port).Step();
    });
    return has;
}

}  // namespace

bool HoldsSimulated(const std::string& dataFolder) {
    return HasPort(dataFolder + kHistoryFile, kSimulatedPort);
}

std::string HistoryToRead(const std::string& dataFolder, const std::string& port) {
    auto real = dataFolder + kHistoryFile;
    auto simulated = dataFolder + kSimulatedHistoryFile;
    std::error_code ignored;
    if (!std::filesystem::exists(simulated, ignored)) return real;
    if (!std::filesystem::exists(real, ignored)) return simulated;
    return !port.empty() && !HasPort(real, port) && HasPort(simulated, port) ? simulated : real;
}

SqliteConnection OpenHistory(const std::string& file) {
    platform::MakeRegularFile(file);
    SqliteConnection connection(file);
    if (connection.Version() != kHistoryVersion) {
        // Have an effect only before the file has its first page.
        connection.Execute("PRAGMA auto_vacuum = INCREMENTAL");
        connection.Execute("PRAGMA journal_mode = WAL");
        BringUpToDate(connection);
    }
    CheckVersion(connection);
    // A loss of power may cost the latest transactions, but never the file.
    connection.Execute("PRAGMA synchronous = NORMAL");
    connection.Execute("PRAGMA journal_size_limit = 4194304");
    return connection;
}

bool HasHistory(const std::string& file) {
    std::error_code error;
    if (!std::filesystem::exists(file, error)) return false;
    bool hasBegun = true;
    // What else is wrong with it, who reads it says.
    Attempt([&] {
        SqliteConnection connection(file, SqliteConnection::Access::ReadOnly);
        hasBegun = connection.Version() != 0 || !IsEmpty(connection);
    });
    return hasBegun;
}

SqliteConnection OpenHistoryReadOnly(const std::string& file) {
    std::error_code error;
    if (!std::filesystem::exists(file, error)) {
        throw Error(errors::General, "there is no history in " + std::filesystem::path(file).parent_path().string() +
                                         ": it begins with the first nimbo1 run that uses this data folder");
    }
    platform::RequireRegularFile(file, R_OK);
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

SqliteConnection OpenDamagedHistory(const std::string& file) {
    return OpenChecked(file, SqliteConnection::Access::Damaged);
}

}  // namespace orvix::station
