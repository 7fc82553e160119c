#include "station/store/damaged_file.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "host/date.h"
#include "host/text.h"

namespace orvix::station {
namespace {

namespace fs = std::filesystem;
using platform::SqliteConnection;
using platform::SqliteStatement;

int ColumnsOf(const CopiedTable& table) {
    const std::string_view columns = table.Columns;
    return static_cast<int>(std::count(columns.begin(), columns.end(), ',')) + 1;
}

std::string InsertInto(const CopiedTable& table) {
    std::string marks = "?";
    for (int column = 1; column < ColumnsOf(table); ++column)
        marks += ", ?";
    return std::string("INSERT OR IGNORE INTO ") + table.Name + "(" + table.Columns + ") VALUES(" + marks + ")";
}

}  // namespace

TableCopy::TableCopy(SqliteConnection& from, SqliteConnection& to, const CopiedTable& table)
    : m_From(from), m_To(to), m_Table(table), m_Insert(to, InsertInto(table)) {}

std::int64_t TableCopy::Copy(std::optional<std::int64_t> series) {
    const std::string select = std::string("SELECT ") + m_Table.Columns + " FROM " + m_Table.Name +
                               (series ? " WHERE series = " + std::to_string(*series) : "") + " ORDER BY ";
    std::int64_t copied = 0;
    if (!CopyRun(select + m_Table.Key, copied)) {
        CopyRun(select + ReplaceAll(m_Table.Key, ",", " DESC,") + " DESC", copied);
    }
    return copied;
}

bool TableCopy::CopyRun(const std::string& sql, std::int64_t& copied) {
    try {
        SqliteStatement select(m_From, sql);
        while (select.Step()) {
            for (int column = 0; column < ColumnsOf(m_Table); ++column)
                m_Insert.Bind(column + 1, select, column);
            m_Insert.Run();
            copied += m_To.Changes();
        }
        return true;
    } catch (const platform::UnusableDatabase&) {
        return false;
    }
}

std::string AsideName(const std::string& file, std::int64_t now) {
    return file + ".damaged-" + Format(FromUnixMilliseconds(now), "yyyymmdd-hhnnss");
}

void RemoveDatabase(const std::string& file) {
    for (const char* companion : {"", "-wal", "-shm", "-journal"})
        fs::remove(file + companion);
}

void PutInPlace(const std::string& file, const std::string& made, const std::string& aside) {
    for (const char* companion : {"-wal", "-shm"}) {
        std::error_code ignored;
        fs::rename(file + companion, aside + companion, ignored);
    }
    std::error_code error;
    // With a second name for the old one there is a file at any moment.
    fs::create_hard_link(file, aside, error);
    if (error) fs::rename(file, aside);
    fs::rename(made, file);
}

}  // namespace orvix::station
