#include "station/store/outbox_table.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "station/store/roll_up.h"

namespace orvix::station {
namespace {

using platform::SqliteStatement;

// Where a new broker begins: at the oldest row that is left, else behind all that there were.
constexpr char kAddBroker[] =
    "INSERT OR IGNORE INTO brokers(name, n) VALUES(?, coalesce((SELECT min(n) - 1 FROM outbox), "
    "(SELECT seq FROM sqlite_sequence WHERE name = 'outbox'), 0))";

// The outbox has no index of times, and rows are about in their order: only those in front are looked at.
constexpr char kRemoveSent[] =
    "DELETE FROM outbox WHERE n IN (SELECT n FROM outbox WHERE n <= ?1 ORDER BY n LIMIT ?4) "
    "AND time NOT BETWEEN ?2 AND ?3";
// Rows of a clock that was ahead may stay for long and are not to stand in the way of the others.
constexpr char kRemoveUnsent[] =
    "DELETE FROM outbox WHERE n IN (SELECT n FROM outbox WHERE n > ?1 AND time <= ?3 ORDER BY n LIMIT ?4) "
    "AND time < ?2";

constexpr std::int64_t kAhead = 24 * kHour;

}  // namespace

OutboxTable::OutboxTable(platform::SqliteConnection& connection)
    : m_Connection(connection),
      m_Add(connection, "INSERT INTO outbox(session, seq, series, time) VALUES(?, ?, ?, ?)") {}

void OutboxTable::SetBrokers(const std::vector<std::string>& brokers) {
    if (m_Brokers == brokers) return;
    SqliteStatement add(m_Connection, kAddBroker);
    for (const auto& broker : brokers)
        add.Bind(1, broker).Run();
    m_Brokers = brokers;
}

void OutboxTable::Add(const OutboxEntry& entry) {
    if (m_Brokers && !m_Brokers->empty()) m_Entries.push_back(entry);
}

void OutboxTable::WriteEntries() {
    const auto rank = [](const OutboxEntry& entry) {
        const bool isNumbered = entry.Series && entry.Seq > 0;
        return std::pair(!isNumbered, entry.Seq);
    };
    std::ranges::stable_sort(m_Entries, {}, rank);
    for (const auto& entry : std::exchange(m_Entries, {})) {
        m_Add.Bind(1, entry.Session).Bind(2, entry.Seq).BindNull(3).Bind(4, entry.Time);
        if (entry.Series) m_Add.Bind(3, *entry.Series);
        m_Add.Run();
    }
}

void OutboxTable::Acknowledge(const BrokerOfHistory& who, std::int64_t n) {
    SqliteStatement(m_Connection,
                    "UPDATE brokers SET n = max(n, ?1) WHERE name = ?2 AND ?3 = (SELECT uuid FROM history)")
        .Bind(1, n)
        .Bind(2, who.Broker)
        .Bind(3, who.History)
        .Run();
}

std::int64_t OutboxTable::AcknowledgedByAll() {
    auto all = std::numeric_limits<std::int64_t>::max();
    SqliteStatement select(m_Connection, "SELECT n FROM brokers WHERE name = ?");
    for (const auto& broker : *m_Brokers) {
        if (select.Bind(1, broker).Step()) all = std::min(all, select.LongNumber(0));
        select.Reset();
    }
    return all;
}

OutboxTable::Removed OutboxTable::RemoveOld(std::int64_t resendable, std::int64_t kept, std::int64_t now,
                                            std::int64_t most) {
    if (!m_Brokers) return {};
    const auto acknowledged = AcknowledgedByAll();
    const auto remove = [&](const char* sql, std::int64_t before) {
        SqliteStatement(m_Connection, sql)
            .Bind(1, acknowledged)
            .Bind(2, before)
            .Bind(3, now + kAhead)
            .Bind(4, most)
            .Run();
        return m_Connection.Changes();
    };
    return {remove(kRemoveSent, std::max(resendable, kept)), remove(kRemoveUnsent, kept)};
}

}  // namespace orvix::station
