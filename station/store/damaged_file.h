#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/sqlite_connection.h"

namespace orvix::station {

// How a database that cannot be used is replaced by one with all that can be read of it.

struct CopiedTable {
    const char* Name;
    const char* Columns;
    const char* Key;  ///< in the order of which it is read
};

/// Copies what one database has of a table into another one.
class TableCopy {
public:
    TableCopy(platform::SqliteConnection& from, platform::SqliteConnection& to, const CopiedTable& table);

    /// Rows of one series, or all. From where a row cannot be read, what lies behind it is read from the other end.
    /// Returns how many.
    std::int64_t Copy(std::optional<std::int64_t> series = std::nullopt);

private:
    /// Returns false at a row that cannot be read. What cannot be written is raised.
    bool CopyRun(const std::string& sql, std::int64_t& copied);

    platform::SqliteConnection& m_From;
    platform::SqliteConnection& m_To;
    const CopiedTable& m_Table;
    platform::SqliteStatement m_Insert;
};

/// What a damaged file is called from now on; `now` is milliseconds since 1970.
std::string AsideName(const std::string& file, std::int64_t now);

/// Removes a database that nobody uses, with its companions.
void RemoveDatabase(const std::string& file);

/// Gives a database the place of another one, which is kept under the name `aside`. There is one at any moment.
void PutInPlace(const std::string& file, const std::string& made, const std::string& aside);

}  // namespace orvix::station
