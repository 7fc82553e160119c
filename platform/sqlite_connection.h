#pragma once

#include <cstdint>
#include <memory>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace orvix::platform {

/// Owners of SQLite's handles.
struct SqliteCloser {
    void operator()(sqlite3* handle) const;
    void operator()(sqlite3_stmt* handle) const;
};

/// An open database file. Another connection's lock is waited for, two seconds at most. Failures raise General, naming
/// the file.
class SqliteConnection {
public:
    /// The layout of the host database that this program reads and writes; the file's user_version.
    static constexpr std::int32_t kVersion = 1;

    /// Opens an existing file.
    explicit SqliteConnection(const std::string& file);

    /// Runs statements that give no rows.
    void Execute(const std::string& sql);
    std::int32_t Version();
    [[noreturn]] void Fail(const std::string& reason) const;
    /// Fails with SQLite's own reason.
    [[noreturn]] void Fail() const;

private:
    friend class SqliteStatement;
    std::string m_File;
    std::unique_ptr<sqlite3, SqliteCloser> m_Handle;
};

/// One statement, run once. Parameters count from 1, columns from 0. Texts may hold any byte.
class SqliteStatement {
public:
    /// The connection outlives the statement.
    SqliteStatement(SqliteConnection& connection, const std::string& sql);

    SqliteStatement& Bind(int parameter, const std::string& text);
    SqliteStatement& Bind(int parameter, std::int32_t number);
    /// Goes to the next row, or runs a statement that gives none. Returns whether there is a row.
    bool Step();
    /// Empty for a null.
    std::string Text(int column);
    std::int32_t Number(int column);

private:
    void Check(int result) const;

    SqliteConnection& m_Connection;
    std::unique_ptr<sqlite3_stmt, SqliteCloser> m_Handle;
};

}  // namespace orvix::platform
