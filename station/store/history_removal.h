#pragma once

#include <cstdint>
#include <optional>

#include "platform/sqlite_connection.h"

namespace orvix::station {

/// Removes what is too old or too much from a history, a step at a time. Times are milliseconds since 1970. Any failure
/// raises Error and leaves the file as it was before the call.
class HistoryRemoval {
public:
    /// The connection outlives this.
    explicit HistoryRemoval(platform::SqliteConnection& connection) : m_Connection(connection) {}

    /// Removes some of the readings before a time. Returns how many, and fewer than kStep when none are left.
    std::int64_t RemoveReadings(std::int64_t before);
    /// Removes some of all that tells of the time before: roll-ups, gaps, alarms, events, sessions that are gone.
    std::int64_t RemoveTraces(std::int64_t before);
    /// Gives some free pages back to the file system. Returns whether there are more.
    bool Shrink();

    /// Bytes of the file that are in use.
    std::int64_t UsedBytes();
    /// Time of the oldest reading; nothing when there is none.
    std::optional<std::int64_t> OldestReading();
    /// The time before which a step's worth of the readings lie; nothing when there is none.
    std::optional<std::int64_t> EndOfOldestReadings();
    std::optional<std::int64_t> OldestRollUp();

    static constexpr std::int64_t kStep = 5000;  ///< rows; takes a few milliseconds

private:
    /// Which rows of a table go, of one series, before the time ?2; `Key` is the rest of their key.
    struct Rows {
        const char* Table;
        const char* Key;
        const char* Which;
    };
    std::int64_t RemoveFrom(const Rows& rows, std::int64_t before, std::int64_t most);
    std::int64_t Pragma(const char* name);
    std::optional<std::int64_t> Ask(const char* sql);

    platform::SqliteConnection& m_Connection;
};

}  // namespace orvix::station
