#pragma once

#include "platform/sqlite_connection.h"

namespace orvix::station {

/// Makes the tables of an empty file, in the caller's transaction (docs/history.md).
void CreateHistoryTables(platform::SqliteConnection& connection);

/// Turns a file of layout 1 into one of layout 2, in the caller's transaction. Readings and gaps stay where they are.
void MigrateHistory(platform::SqliteConnection& connection);

/// Shows a file of layout 1 as one of layout 2 to this connection alone; the file is not written.
void ShowAsLayout2(platform::SqliteConnection& connection);

}  // namespace orvix::station
