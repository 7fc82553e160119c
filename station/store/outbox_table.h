#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/sqlite_connection.h"
#include "station/store/history_rows.h"

namespace orvix::station {

/// A row of a history that is to be carried to brokers. Its session is the row of one, its series too; one without a
/// series is an alarm.
struct OutboxEntry {
    std::int64_t Session = 0;
    std::int64_t Seq = 0;
    std::optional<std::int64_t> Series{};
    std::int64_t Time = 0;  ///< of the reading, of the latest failure of a gap, or of the alarm's change
};

/// The rows of a history that wait for brokers, in the order in which they were recorded. Nothing is written while no
/// broker is configured. Any failure raises Error.
class OutboxTable {
public:
    /// The connection outlives this.
    explicit OutboxTable(platform::SqliteConnection& connection);

    // In the caller's transaction:

    /// The brokers that rows wait for from now on. A new one gets what is still there.
    void SetBrokers(const std::vector<std::string>& brokers);
    /// Keeps an entry for WriteEntries.
    void Add(const OutboxEntry& entry);
    /// Writes the entries since the last call in the order of their numbers; gaps without one and alarms behind.
    void WriteEntries();
    /// A broker has all rows up to a number. Ignores what is about another file, or a broker that is not known.
    void Acknowledge(const BrokerOfHistory& who, std::int64_t n);

    /// How many rows were removed, and how many of them some broker had not acknowledged.
    struct Removed {
        std::int64_t Sent = 0;
        std::int64_t Unsent = 0;
    };
    /// Removes some of the rows that all brokers have and that are from before `resendable`, and of those from before
    /// `kept`, whose readings are gone: `most` of each kind. A row from the future is not waited for. Times are
    /// milliseconds since 1970.
    Removed RemoveOld(std::int64_t resendable, std::int64_t kept, std::int64_t now, std::int64_t most);

private:
    /// By all brokers.
    std::int64_t AcknowledgedByAll();

    platform::SqliteConnection& m_Connection;
    platform::SqliteStatement m_Add;
    std::optional<std::vector<std::string>> m_Brokers;
    std::vector<OutboxEntry> m_Entries;
};

}  // namespace orvix::station
