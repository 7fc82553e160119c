#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/error.h"

struct sqlite3;
struct sqlite3_stmt;

namespace orvix::platform {

/// Owners of SQLite's handles.
struct SqliteCloser {
    void operator()(sqlite3* handle) const;
    void operator()(sqlite3_stmt* handle) const;
};

/// What is in a file is no database, a damaged one, or not one of this program.
class UnusableDatabase : public Error {
public:
    using Error::Error;
};

/// An open database file. Another connection's lock is waited for, two seconds at most. Failures raise General, naming
/// the file; what is wrong with its contents is an UnusableDatabase.
class SqliteConnection {
public:
    enum class Access {
        ReadWrite,
        ReadOnly,
        Immutable,  ///< read a file that nobody writes, and that has no companion files
        Damaged,    ///< read what can be read of a file that is damaged, or has lost its end
    };

    /// The layout of the host database that this program reads and writes; the file's user_version.
    static constexpr std::int32_t kVersion = 1;

    /// Opens an existing file.
    explicit SqliteConnection(const std::string& file, Access access = Access::ReadWrite);

    /// Runs statements whose rows are of no interest.
    void Execute(const std::string& sql);
    /// Rows that the latest statement has inserted, updated or deleted.
    std::int64_t Changes() const;
    std::int32_t Version();
    [[noreturn]] void Fail(const std::string& reason) const;
    /// Fails with an UnusableDatabase.
    [[noreturn]] void Refuse(const std::string& reason) const;
    /// Fails with SQLite's own reason.
    [[noreturn]] void Fail() const;

private:
    friend class SqliteStatement;
    std::string m_File;
    std::unique_ptr<sqlite3, SqliteCloser> m_Handle;
};

/// One statement; to be run again after Reset, with the same parameters but those that are bound anew. Parameters count
/// from 1, columns from 0. Texts may hold any byte.
class SqliteStatement {
public:
    /// The connection outlives the statement.
    SqliteStatement(SqliteConnection& connection, const std::string& sql);

    SqliteStatement& Bind(int parameter, const std::string& text);
    SqliteStatement& Bind(int parameter, std::int32_t number);
    SqliteStatement& Bind(int parameter, std::int64_t number);
    SqliteStatement& Bind(int parameter, double number);
    SqliteStatement& BindNull(int parameter);
    /// Binds what is in the column of another statement's row.
    SqliteStatement& Bind(int parameter, const SqliteStatement& row, int column);
    /// Goes to the next row, or runs a statement that gives none. Returns whether there is a row.
    bool Step();
    /// Runs a statement that gives no rows, and makes it ready to be run again.
    void Run();
    void Reset();
    bool IsNull(int column);
    /// Empty for a null.
    std::string Text(int column);
    std::int32_t Number(int column);
    std::int64_t LongNumber(int column);
    double Real(int column);

private:
    void Check(int result) const;

    SqliteConnection& m_Connection;
    std::unique_ptr<sqlite3_stmt, SqliteCloser> m_Handle;
};

}  // namespace orvix::platform
