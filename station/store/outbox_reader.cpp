#include "station/store/outbox_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "host/error.h"
#include "station/model/version.h"
#include "station/store/alarm_query.h"
#include "station/store/history_rows.h"
#include "station/store/history_schema.h"

namespace orvix::station {
namespace {

using platform::SqliteConnection;
using platform::SqliteStatement;

using FileIdentity = std::pair<dev_t, ino_t>;

FileIdentity IdentityOf(const std::string& file) {
    struct stat found {};
    return ::stat(file.c_str(), &found) == 0 ? FileIdentity(found.st_dev, found.st_ino) : FileIdentity();
}

SqliteConnection OpenReady(const std::string& file) {
    auto connection = OpenHistoryReadOnly(file);
    if (connection.Version() != kHistoryVersion) connection.Fail("its layout is not up to date yet");
    return connection;
}

/// What an entry refers to.
struct SeriesName {
    std::string Identifier;
    std::string Variable;
};

/// A statement that is ready to be run again when it is out of use, and keeps no transaction open.
class Use {
public:
    explicit Use(SqliteStatement& statement) : m_Statement(statement) {}
    ~Use() { m_Statement.Reset(); }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    SqliteStatement* operator->() { return &m_Statement; }

private:
    SqliteStatement& m_Statement;
};

}  // namespace

class OutboxReader::Opened {
public:
    explicit Opened(const std::string& file)
        : m_Identity(IdentityOf(file)),
          m_Connection(OpenReady(file)),
          m_Entries(m_Connection,
                    "SELECT n, o.session, o.seq, o.series, o.time, value, doubt FROM outbox AS o LEFT JOIN readings AS "
                    "r ON r.series = o.series AND r.time_ms = o.time AND r.seq = o.seq WHERE n > ? ORDER BY n LIMIT ?"),
          m_Newest(m_Connection, "SELECT seq FROM sqlite_sequence WHERE name = 'outbox'"),
          m_Gap(m_Connection,
                "SELECT from_ms, to_ms, count, code, text, seq, last_seq FROM gaps WHERE series = ?1 AND from_ms = "
                "(SELECT max(from_ms) FROM gaps WHERE series = ?1 AND from_ms <= ?2) AND to_ms >= ?2"),
          m_Series(m_Connection,
                   "SELECT d.id, variable FROM series JOIN devices AS d ON number = device WHERE series.id = ?"),
          m_Session(m_Connection, "SELECT uuid FROM sessions WHERE id = ?"),
          m_Broker(m_Connection, "SELECT n FROM brokers WHERE name = ?") {
        SqliteStatement uuid(m_Connection, "SELECT uuid FROM history");
        if (uuid.Step()) m_History = uuid.Text(0);
    }

    bool IsAt(const std::string& file) const { return m_Identity == IdentityOf(file); }
    const std::string& History() const { return m_History; }

    std::int64_t Newest() {
        Use newest(m_Newest);
        return newest->Step() ? newest->LongNumber(0) : 0;
    }

    std::optional<std::int64_t> Acknowledged(const std::string& broker) {
        Use row(m_Broker);
        row->Bind(1, broker);
        return row->Step() ? std::make_optional(row->LongNumber(0)) : std::nullopt;
    }

    OutboxBatch After(std::int64_t n, std::int64_t most) {
        // Asked first: what is recorded meanwhile has not been removed.
        const auto newest = Newest();
        const auto entries = EntriesAfter(n, most);
        OutboxBatch batch{m_History, n + 1, entries.empty() ? std::max(n, newest) : entries.back().N, 0, {}};
        batch.Skipped = batch.To - n;
        batch.Rows.reserve(entries.size());
        for (const auto& entry : entries) {
            auto row = RowOf(entry);
            if (!row) continue;
            --batch.Skipped;
            batch.Rows.push_back(std::move(*row));
        }
        DropEarlierStatesOfGaps(batch.Rows);
        return batch;
    }

private:
    struct Entry {
        std::int64_t N;
        std::int64_t Session;
        std::int64_t Seq;
        std::optional<std::int64_t> Series;
        std::int64_t Time;
        std::optional<double> Value;
        Doubt Why;
    };

    std::vector<Entry> EntriesAfter(std::int64_t n, std::int64_t most) {
        enum Column { kN, kSession, kSeq, kSeries, kTime, kValue, kDoubt };
        std::vector<Entry> entries;
        Use row(m_Entries);
        row->Bind(1, n).Bind(2, most);
        while (row->Step()) {
            entries.push_back({row->LongNumber(kN), row->LongNumber(kSession), row->LongNumber(kSeq),
                               row->IsNull(kSeries) ? std::nullopt : std::make_optional(row->LongNumber(kSeries)),
                               row->LongNumber(kTime),
                               row->IsNull(kValue) ? std::nullopt : std::make_optional(row->Real(kValue)),
                               static_cast<Doubt>(row->LongNumber(kDoubt))});
        }
        return entries;
    }

    /// Nothing when what the entry refers to was removed.
    std::optional<OutboxRow> RowOf(const Entry& entry) {
        OutboxRow row;
        row.N = entry.N;
        row.Session = SessionOf(entry.Session);
        row.Seq = entry.Seq;
        row.Time = entry.Time;
        if (!entry.Series) return FillAlarm(row) ? std::make_optional(std::move(row)) : std::nullopt;
        const auto& [identifier, variable] = NameOfSeries(*entry.Series);
        row.Identifier = identifier;
        row.Variable = variable;
        if (!entry.Value) return FillGap(row, *entry.Series) ? std::make_optional(std::move(row)) : std::nullopt;
        row.Why = entry.Why;
        if (variable == NameOf(ORVIXCNB1_VAR_INPUTBYTE)) {
            row.Value = static_cast<std::int32_t>(*entry.Value);
        } else {
            row.Value = *entry.Value;
        }
        return row;
    }

    bool FillGap(OutboxRow& row, std::int64_t series) {
        enum Column { kFrom, kTo, kCount, kCode, kText, kSeq, kLastSeq };
        Use gap(m_Gap);
        gap->Bind(1, series).Bind(2, row.Time);
        if (!gap->Step()) return false;
        row.Time = gap->LongNumber(kFrom);
        row.Until = gap->LongNumber(kTo);
        row.Count = gap->LongNumber(kCount);
        row.Reason = {gap->Number(kCode), gap->Text(kText), {}};
        row.FirstSeq = gap->LongNumber(kSeq);
        row.Seq = gap->LongNumber(kLastSeq);
        return true;
    }

    bool FillAlarm(OutboxRow& row) {
        row.Alarm = StoredAlarm(m_Connection, row.Session, row.Seq);
        if (!row.Alarm) return false;
        row.Identifier = row.Alarm->Identifier;
        row.Time = row.Alarm->Started;
        return true;
    }

    /// A gap has its states between the readings before and behind it.
    static void DropEarlierStatesOfGaps(std::vector<OutboxRow>& rows) {
        std::map<std::pair<std::string, std::int64_t>, std::int64_t> latest;
        const auto isGap = [](const OutboxRow& row) {
            return !row.Alarm && std::holds_alternative<std::monostate>(row.Value);
        };
        for (const auto& row : rows)
            if (isGap(row)) latest[{row.Identifier + '/' + row.Variable, row.Time}] = row.N;
        std::erase_if(rows, [&](const OutboxRow& row) {
            return isGap(row) && latest[{row.Identifier + '/' + row.Variable, row.Time}] != row.N;
        });
    }

    const SeriesName& NameOfSeries(std::int64_t series) {
        const auto [known, isNew] = m_SeriesNames.try_emplace(series);
        if (isNew) {
            Use row(m_Series);
            row->Bind(1, series);
            if (row->Step()) known->second = {row->Text(0), row->Text(1)};
        }
        return known->second;
    }

    const std::string& SessionOf(std::int64_t session) {
        const auto [known, isNew] = m_Sessions.try_emplace(session);
        if (isNew) {
            Use row(m_Session);
            row->Bind(1, session);
            if (row->Step()) known->second = row->Text(0);
        }
        return known->second;
    }

    const FileIdentity m_Identity;
    SqliteConnection m_Connection;
    SqliteStatement m_Entries;
    SqliteStatement m_Newest;
    SqliteStatement m_Gap;
    SqliteStatement m_Series;
    SqliteStatement m_Session;
    SqliteStatement m_Broker;
    std::string m_History;
    std::map<std::int64_t, SeriesName> m_SeriesNames;
    std::map<std::int64_t, std::string> m_Sessions;
};

OutboxReader::OutboxReader(std::string file) : m_File(std::move(file)) {}
OutboxReader::~OutboxReader() = default;

template <class Ask>
auto OutboxReader::With(const Ask& ask) {
    if (m_Opened && !m_Opened->IsAt(m_File)) m_Opened.reset();
    if (!m_Opened) m_Opened = std::make_unique<Opened>(m_File);
    try {
        return ask(*m_Opened);
    } catch (...) {
        m_Opened.reset();
        throw;
    }
}

OutboxBatch OutboxReader::After(std::int64_t n, std::int64_t most) {
    return With([&](Opened& opened) { return opened.After(n, most); });
}

std::int64_t OutboxReader::Newest() {
    return With([](Opened& opened) { return opened.Newest(); });
}

std::optional<std::int64_t> OutboxReader::Acknowledged(const std::string& broker) {
    return With([&](Opened& opened) { return opened.Acknowledged(broker); });
}

std::string OutboxReader::History() {
    return With([](Opened& opened) { return opened.History(); });
}

}  // namespace orvix::station
