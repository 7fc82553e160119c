#pragma once

#include <string>

#include "platform/sqlite_connection.h"

namespace orvix::station {

/// Name of the file in the data folder.
inline constexpr char kHistoryFile[] = "history.db";

/// Layout of the file (docs/history.md); its user_version.
inline constexpr std::int32_t kHistoryVersion = 1;

/// A running station says more often than this that it is alive.
inline constexpr std::int64_t kAliveMilliseconds = 3000;

/// Opens a history for writing; the file, readable by its owner only, and its tables are made when missing. Several
/// processes may do this at once. Raises Error naming the file.
platform::SqliteConnection OpenHistory(const std::string& file);

/// Opens a history for reading, also while a station writes it, and also in a folder that cannot be written. Raises
/// General with a sentence that names the file.
platform::SqliteConnection OpenHistoryReadOnly(const std::string& file);

}  // namespace orvix::station
