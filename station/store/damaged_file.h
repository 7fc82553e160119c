#pragma once

#include <cstdint>
#include <string>

#include "platform/sqlite_connection.h"

namespace orvix::station {

// How a database that cannot be used is replaced by one with all that can be read of it.

struct CopiedTable {
    const char* Name;
    const char* Columns;
    const char* Key;  ///< whole numbers from 0 on; in the order of which it is kept
};

/// Copies what one database has of a table into another one: all rows that can be found, whatever cannot be read
/// between them. `from` is best opened as a damaged one. Returns how many were not there yet.
std::int64_t CopyTable(platform::SqliteConnection& from, platform::SqliteConnection& to, const CopiedTable& table);

/// What a damaged file is called from now on; `now` is milliseconds since 1970.
std::string AsideName(const std::string& file, std::int64_t now);

/// Removes a database that nobody uses, with its companions.
void RemoveDatabase(const std::string& file);

/// Gives a database the place of another one, which is kept under the name `aside`. There is one at any moment.
void PutInPlace(const std::string& file, const std::string& made, const std::string& aside);

}  // namespace orvix::station
