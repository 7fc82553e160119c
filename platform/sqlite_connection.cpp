#include "platform/sqlite_connection.h"

#include <sqlite3.h>

#include <system_error>
#include <utility>

namespace orvix::platform {

void SqliteCloser::operator()(sqlite3* handle) const {
    sqlite3_close(handle);
}

void SqliteCloser::operator()(sqlite3_stmt* handle) const {
    sqlite3_finalize(handle);
}

namespace {

/// The file's name as a URI that says that nobody writes it.
std::string ImmutableUri(const std::string& file) {
    std::string uri = "file:";
    for (const char c : file) {
        if (c == '%')
            uri += "%25";
        else if (c == '?')
            uri += "%3f";
        else if (c == '#')
            uri += "%23";
        else
            uri += c;
    }
    return uri + "?immutable=1";
}

}  // namespace

SqliteConnection::SqliteConnection(const std::string& file, Access access) : m_File(file) {
    constexpr int kBusyMilliseconds = 2000;
    const bool isImmutable = access == Access::Immutable;
    const int flags = (access == Access::ReadWrite ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY) |
                      (isImmutable ? SQLITE_OPEN_URI : 0);
    sqlite3* handle = nullptr;
    const int result = sqlite3_open_v2((isImmutable ? ImmutableUri(file) : file).c_str(), &handle, flags, nullptr);
    m_Handle.reset(handle);
    if (result != SQLITE_OK) Fail();
    sqlite3_busy_timeout(handle, kBusyMilliseconds);
    // The first one has SQLite open files that are shorter than they say, the other one look closer at what it reads.
    if (access == Access::Damaged) Execute("PRAGMA writable_schema = ON; PRAGMA cell_size_check = ON");
}

void SqliteConnection::Fail(const std::string& reason) const {
    throw Error(errors::General, "database " + m_File + ": " + reason);
}

void SqliteConnection::Refuse(const std::string& reason) const {
    throw UnusableDatabase(errors::General, "database " + m_File + ": " + reason);
}

void SqliteConnection::Fail() const {
    std::string reason = sqlite3_errmsg(m_Handle.get());
    // Of these, SQLite's own words do not say why.
    const int result = sqlite3_errcode(m_Handle.get());
    const int kind = result & 0xFF;
    if (kind == SQLITE_CORRUPT || kind == SQLITE_NOTADB) Refuse(reason);
    const int system = sqlite3_system_errno(m_Handle.get());
    if ((result == SQLITE_IOERR || result == SQLITE_CANTOPEN) && system != 0) {
        reason += " (" + std::system_category().message(system) + ")";
    }
    Fail(reason);
}

void SqliteConnection::Execute(const std::string& sql) {
    if (sqlite3_exec(m_Handle.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) Fail();
}

std::int64_t SqliteConnection::Changes() const {
    return sqlite3_changes64(m_Handle.get());
}

std::int32_t SqliteConnection::Version() {
    SqliteStatement statement(*this, "PRAGMA user_version");
    return statement.Step() ? statement.Number(0) : 0;
}

SqliteStatement::SqliteStatement(SqliteConnection& connection, const std::string& sql) : m_Connection(connection) {
    sqlite3_stmt* handle = nullptr;
    const int result = sqlite3_prepare_v2(connection.m_Handle.get(), sql.c_str(), -1, &handle, nullptr);
    m_Handle.reset(handle);
    // All statements are the program's own: a table or column that one of them misses has been lost.
    if (result == SQLITE_ERROR) connection.Refuse(sqlite3_errmsg(connection.m_Handle.get()));
    Check(result);
}

void SqliteStatement::Check(int result) const {
    if (result != SQLITE_OK) m_Connection.Fail();
}

SqliteStatement& SqliteStatement::Bind(int parameter, const std::string& text) {
    Check(sqlite3_bind_text64(m_Handle.get(), parameter, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

SqliteStatement& SqliteStatement::Bind(int parameter, std::int32_t number) {
    Check(sqlite3_bind_int(m_Handle.get(), parameter, number));
    return *this;
}

SqliteStatement& SqliteStatement::Bind(int parameter, std::int64_t number) {
    Check(sqlite3_bind_int64(m_Handle.get(), parameter, number));
    return *this;
}

SqliteStatement& SqliteStatement::Bind(int parameter, double number) {
    Check(sqlite3_bind_double(m_Handle.get(), parameter, number));
    return *this;
}

SqliteStatement& SqliteStatement::BindNull(int parameter) {
    Check(sqlite3_bind_null(m_Handle.get(), parameter));
    return *this;
}

SqliteStatement& SqliteStatement::Bind(int parameter, const SqliteStatement& row, int column) {
    Check(sqlite3_bind_value(m_Handle.get(), parameter, sqlite3_column_value(row.m_Handle.get(), column)));
    return *this;
}

void SqliteStatement::Run() {
    Step();
    Reset();
}

void SqliteStatement::Reset() {
    // Repeats the failure of the latest step, which has been raised already.
    sqlite3_reset(m_Handle.get());
}

bool SqliteStatement::IsNull(int column) {
    return sqlite3_column_type(m_Handle.get(), column) == SQLITE_NULL;
}

bool SqliteStatement::Step() {
    const int result = sqlite3_step(m_Handle.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) m_Connection.Fail();
    return result == SQLITE_ROW;
}

std::string SqliteStatement::Text(int column) {
    const void* bytes = sqlite3_column_blob(m_Handle.get(), column);
    const int size = sqlite3_column_bytes(m_Handle.get(), column);
    return bytes == nullptr ? std::string()
                            : std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

std::int32_t SqliteStatement::Number(int column) {
    const std::int64_t number = LongNumber(column);
    if (!std::in_range<std::int32_t>(number)) m_Connection.Fail("a number is out of range");
    return static_cast<std::int32_t>(number);
}

std::int64_t SqliteStatement::LongNumber(int column) {
    return sqlite3_column_int64(m_Handle.get(), column);
}

double SqliteStatement::Real(int column) {
    return sqlite3_column_double(m_Handle.get(), column);
}

}  // namespace orvix::platform
