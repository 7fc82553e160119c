#pragma once

#include <string>

#include "platform/sqlite_connection.h"

namespace orvix::station {

/// Names of the files in the data folder: of what was read, and of what was simulated.
inline constexpr char kHistoryFile[] = "history.db";
inline constexpr char kSimulatedHistoryFile[] = "history-simulated.db";

/// In place of the serial number of a device that does not tell one.
inline constexpr char kTellsNone[] = "?";

/// A session that has not said for so many times its beat that it is alive is not.
inline constexpr std::int64_t kMissedBeats = 3;

/// Opens a history for writing; the file, readable by its owner only, and its tables are made when missing, and a file
/// of layout 1 becomes one of layout 2. Several processes may do this at once. Raises Error naming the file, an
/// UnusableDatabase when it is no history or damaged.
platform::SqliteConnection OpenHistory(const std::string& file);

/// Whether history.db holds readings of the simulated bus, as a file that began in layout 1 may: new ones then go there
/// too, so that all of them stay together. `dataFolder` ends with "/".
bool HoldsSimulated(const std::string& dataFolder);

/// The file of a data folder that has what people ask for: that in which the port is, when one is named; else what was
/// read, unless everything was simulated. `dataFolder` ends with "/".
std::string HistoryToRead(const std::string& dataFolder, const std::string& port);

/// Whether there is a file, in which a station has begun a history: at its first moments the tables are still missing.
bool HasHistory(const std::string& file);

/// Opens a history for reading, also while a station writes it, and also in a folder that cannot be written. One of
/// layout 1 looks like one of layout 2. Raises General with a sentence that names the file.
platform::SqliteConnection OpenHistoryReadOnly(const std::string& file);

/// Opens one that is damaged, of which as much as possible is to be read. Raises UnusableDatabase when that is nothing.
platform::SqliteConnection OpenDamagedHistory(const std::string& file);

}  // namespace orvix::station
