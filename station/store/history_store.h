#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sqlite_connection.h"
#include "station/store/history_rows.h"

namespace orvix::station {

/// One run of a station, told from all others by when it began and its process.
struct HistorySession {
    std::int64_t Start = 0;
    std::int64_t Process = 0;
};

/// The writing side of an open history. Any failure raises Error and leaves the file as it was before the call; the
/// object is of no use then.
class HistoryStore {
public:
    HistoryStore(const std::string& file, const HistorySession& session, std::int64_t now);

    /// Writes all rows, and that the session is alive, in one transaction. A row that is there already stays as it is;
    /// a reading of the same series and millisecond with another value moves to the next free millisecond.
    void Write(const HistoryBatch& batch, std::int64_t now);
    /// Marks the session as ended in order.
    void End();
    /// Removes some of what is older than `cutoff`, and gives some free pages back to the file system. Returns whether
    /// there is more to do.
    bool Remove(std::int64_t cutoff);
    /// Bytes of the file that are in use.
    std::int64_t UsedBytes();
    /// Time of the oldest reading; nothing when there is none.
    std::optional<std::int64_t> Oldest();

private:
    /// The row of a series, made when missing; the session watches it from then on.
    std::int64_t RowOf(const HistoryBatch& batch, std::size_t series);
    void WriteReading(std::int64_t series, const ReadingRow& reading);
    void WriteGap(std::int64_t series, std::int64_t from, const Gap& gap);
    void WriteEvent(std::int64_t number, const HistoryEvent& event);
    std::int64_t RemoveRows(std::int64_t cutoff);
    std::int64_t FreePages();
    std::int64_t Pragma(const char* name);

    platform::SqliteConnection m_Connection;
    platform::SqliteStatement m_AddReading;
    platform::SqliteStatement m_PutGap;
    std::int64_t m_Session = 0;
    std::vector<std::int64_t> m_SeriesRows;  ///< by the index in the batch; 0: not known yet
};

}  // namespace orvix::station
