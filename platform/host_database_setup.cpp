#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "host/error.h"
#include "platform/file_descriptor.h"
#include "platform/message_table.h"
#include "platform/regular_file.h"
#include "platform/sqlite_connection.h"
#include "platform/sqlite_database.h"
#include "platform/workgroup_file.h"

namespace orvix::platform {

namespace {

constexpr char kTables[] =
    "CREATE TABLE devices(address TEXT PRIMARY KEY, model INTEGER, serial TEXT);"
    "CREATE TABLE plant_names(serial TEXT PRIMARY KEY, name TEXT);"
    "CREATE TABLE messages(number INTEGER PRIMARY KEY, text TEXT);";

bool IsEmpty(SqliteConnection& connection) {
    SqliteStatement count(connection, "SELECT count(*) FROM sqlite_master");
    return count.Step() && count.Number(0) == 0;
}

void CreateTables(SqliteConnection& connection) {
    if (!IsEmpty(connection)) connection.Fail("this is the database of another program");
    connection.Execute(kTables);
    connection.Execute("PRAGMA user_version = " + std::to_string(SqliteConnection::kVersion));
}

void CheckIsWhole(SqliteConnection& connection) {
    SqliteStatement check(connection, "PRAGMA quick_check(1)");
    if (check.Step() && check.Text(0) != "ok") connection.Refuse("it is damaged: " + check.Text(0));
}

void RefreshMessages(SqliteConnection& connection) {
    for (const HostMessage& message : HostMessages()) {
        SqliteStatement statement(connection,
                                  "INSERT INTO messages(number, text) VALUES(?, ?) "
                                  "ON CONFLICT(number) DO UPDATE SET text = excluded.text WHERE text <> excluded.text");
        statement.Bind(1, message.Number).Bind(2, message.Text).Step();
    }
}

void PrepareDatabaseFile(const std::string& file) {
    // SQLite would make the file readable by everybody; its companion files take over the permissions.
    MakeRegularFile(file);
    SqliteConnection connection(file);
    const std::int32_t version = connection.Version();
    if (version != 0 && version != SqliteConnection::kVersion) {
        connection.Fail("layout version " + std::to_string(version) + " is not supported");
    }
    CheckIsWhole(connection);
    // Readers and a writer do not hinder each other.
    connection.Execute("PRAGMA journal_mode = WAL");
    // A transaction that fails is rolled back when the connection closes.
    connection.Execute("BEGIN IMMEDIATE");
    if (version == 0) CreateTables(connection);
    RefreshMessages(connection);
    connection.Execute("COMMIT");
}

}  // namespace

DatabaseAccount PrepareHostDatabase(const std::string& folder) {
    CreateFolders(folder);
    const FileDescriptor lock = LockFolder(folder);
    if (::access(folder.c_str(), W_OK | X_OK) != 0) throw SystemError("folder " + folder + " cannot be written", errno);
    const std::filesystem::path path(folder);
    const std::string workgroupFile = (path / kWorkgroupFile).string();
    std::error_code error;
    if (!std::filesystem::exists(workgroupFile, error)) WriteWorkgroupFile(workgroupFile, NewAccount());
    PrepareDatabaseFile((path / kDatabaseFile).string());
    return ReadWorkgroupFile(workgroupFile);
}

}  // namespace orvix::platform
