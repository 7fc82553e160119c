#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sqlite_connection.h"
#include "station/store/history_removal.h"
#include "station/store/history_rows.h"
#include "station/store/outbox_table.h"
#include "station/store/roll_up_table.h"

namespace orvix::station {

/// One run of a station.
struct HistorySession {
    std::string Uuid;
    std::int64_t Start = 0;
    std::int64_t Process = 0;
    std::int64_t Beat = 1000;  ///< it says at least so often that it is alive; milliseconds
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
    /// Rolls up some of what a session that is gone has left, or a file of layout 1. Returns whether there is more.
    bool RollUpLeftOver(std::int64_t now);
    /// Time of the newest reading of earlier sessions; nothing when there is none.
    std::optional<std::int64_t> Newest();
    HistoryRemoval& Removal() { return m_Removal; }
    OutboxTable& Outbox() { return m_Outbox; }

private:
    void KeepLogSmall();
    /// The rows of the series that the batch has gained; the session reads them from then on.
    void WriteSeries(const HistoryBatch& batch);
    std::int64_t SeriesOf(const SeriesRow& series);
    std::int64_t DeviceOf(const SeriesRow& series);
    void WriteReading(std::int64_t series, const ReadingRow& reading);
    void WriteGap(std::int64_t series, std::int64_t from, const Gap& gap);
    void WriteMinutes(std::int64_t series, bool isInputs, const CompleteMinutes& complete);
    void EndSeries(std::int64_t series, bool isInputs, std::int64_t time, SeriesEnd end);
    /// Nothing more comes of a series that has ended.
    void FinishRollUps(std::int64_t series, bool isInputs, std::int64_t end);
    void WriteAlarm(const AlarmState& alarm, std::int64_t now);
    void AddToOutbox(const std::string& alarm, std::int64_t now);
    RollUpTable& RollUps(bool isInputs) { return isInputs ? m_Inputs : m_Temperatures; }
    std::int64_t RolledUntil(std::int64_t series);

    const std::string m_File;
    platform::SqliteConnection m_Connection;
    platform::SqliteStatement m_AddReading;
    platform::SqliteStatement m_PutGap;
    RollUpTable m_Temperatures;
    RollUpTable m_Inputs;
    HistoryRemoval m_Removal;
    OutboxTable m_Outbox;
    std::int64_t m_Session = 0;
    std::vector<std::int64_t> m_SeriesRows;  ///< by the index in the batch
};

}  // namespace orvix::station
