#pragma once

#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>

#include "station/model/alarm.h"
#include "station/store/history_rows.h"

namespace orvix::station {

/// Rows on their way from the station to the writer of its history: a bounded number, whatever becomes of the writer.
/// All members may be called on any thread and take no longer than putting a row into memory.
class PendingRows {
public:
    /// `most` rows wait at the same time; readings beyond are lost, and counted as a gap of their own.
    explicit PendingRows(std::size_t most) : m_Most(most) {}

    void Add(const Reading& reading);
    /// An alarm is one row from its start to its end.
    void Add(const AlarmEvent& alarm);

    /// Moves all rows into the batch, whose rows keep counting as waiting until Written.
    void TakeInto(HistoryBatch& batch);
    /// The batch taken is in the file.
    void Written();
    /// Readings lost since the last call.
    std::int64_t TakeLost();

private:
    std::size_t IndexOf(const Reading& reading);
    bool IsFull() const { return m_Rows.Rows() + m_Taken >= m_Most; }
    void Extend(std::size_t series, std::int64_t time, const Failure& failure);

    const std::size_t m_Most;
    std::mutex m_Mutex;
    HistoryBatch m_Rows;
    std::size_t m_Taken = 0;
    std::map<SeriesKey, std::size_t> m_Indexes;
    std::map<std::size_t, std::pair<std::int64_t, Gap>> m_Open;  ///< gap of a series, with its beginning
    std::int64_t m_Lost = 0;
    /// Alarms that last, by port, address and kind.
    std::map<std::tuple<std::string, int, std::string>, std::pair<std::int64_t, HistoryEvent>> m_Alarms;
    std::int64_t m_LatestEvent = 0;
};

}  // namespace orvix::station
