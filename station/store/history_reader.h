#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/sqlite_connection.h"
#include "station/model/history_query.h"
#include "station/store/history_rows.h"

namespace orvix::station {

struct StoredSeries {
    std::int64_t Row = 0;
    SeriesKey Key;

    /// Inputs, as opposed to a temperature.
    bool IsInputs() const;
};

/// A reading, or a time without readings.
struct HistoryRow {
    const StoredSeries* Series = nullptr;
    std::int64_t Time = 0;
    ReadingValue Value;      ///< nothing: a gap
    std::int64_t Until = 0;  ///< of a gap: its end
    std::int64_t Count = 0;  ///< of a gap: failed readings; 0 while the station was not running
    Failure Reason;          ///< of a gap
};

/// An alarm, from its start.
struct AlarmRow {
    enum class End {
        None,            ///< it is on
        Ended,           ///< it went away
        StationStopped,  ///< it was on when its station stopped
    };

    HistoryEvent Event;
    std::string Name;  ///< of the device, the latest that it had
    End Ended = End::None;
    std::int64_t Until = 0;  ///< of one that is not on: its end, or that of its station
};

struct ValueRange {
    double Lowest = 0;
    double Mean = 0;
    double Highest = 0;
};

struct SeriesSummary {
    StoredSeries Series;
    std::int64_t Count = 0;           ///< good readings
    std::optional<ValueRange> Range;  ///< of temperatures, when there are any
    std::int64_t Gaps = 0;
    std::int64_t Failed = 0;               ///< readings
    std::chrono::milliseconds GapTime{0};  ///< from the first to the last failure of each gap
    std::chrono::milliseconds NotRunning{0};
};

/// The reading side of a history. Rows come in pages, so that neither memory nor the writer's log grows with them.
class HistoryReader {
public:
    /// `now` is the time up to which a station should have been running. Raises Error when there is no history.
    HistoryReader(const std::string& file, std::int64_t now);

    /// The series that the query asks for, by port and address. Raises General with what there is when nothing fits.
    std::vector<StoredSeries> Find(const HistoryQuery& query);
    /// Calls `take` with each row of these series in order of time, until it returns false. A gap that has begun
    /// earlier comes first.
    void Read(const std::vector<StoredSeries>& series, const Period& period,
              const std::function<bool(const HistoryRow&)>& take);
    SeriesSummary Summarize(const StoredSeries& series, const Period& period);
    /// Calls `take` with each alarm of the devices that these series are of, in order of their starts, until it returns
    /// false: those that were on at any time of the period.
    void ReadAlarms(const std::vector<StoredSeries>& series, const Period& period,
                    const std::function<bool(const AlarmRow&)>& take);

private:
    std::vector<StoredSeries> AllSeries();
    /// Times in which a station that has read the series before was not running.
    std::vector<HistoryRow> TimesNotRunning(const StoredSeries& series, const Period& period);

    AlarmRow AlarmOf(platform::SqliteStatement& row) const;

    platform::SqliteConnection m_Connection;
    std::int64_t m_Now;
};

}  // namespace orvix::station
