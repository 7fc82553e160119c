#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/sqlite_connection.h"
#include "station/model/history_query.h"
#include "station/store/alarm_query.h"
#include "station/store/figures_query.h"
#include "station/store/row_merge.h"
#include "station/store/stored_device.h"

namespace orvix::station {

/// What there is of one device in a period.
struct HistorySummary {
    StoredDevice Device;
    station::Figures Figures;
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

    /// The devices that the query asks for, by port and address. Raises General with what there is when nothing fits.
    std::vector<StoredDevice> Find(const HistoryQuery& query);
    /// Calls `take` with each row of these devices in order of time, until it returns false. A gap that has begun
    /// earlier comes first.
    void Read(const std::vector<StoredDevice>& devices, const Period& period,
              const std::function<bool(const HistoryRow&)>& take, SeriesCursor::Rows rows = SeriesCursor::Rows::All);
    /// The same rows to be taken one by one. Devices and this outlive them.
    RowMerge Rows(std::span<const StoredDevice> devices, const Period& period,
                  SeriesCursor::Rows rows = SeriesCursor::Rows::All);
    /// For questions about one device, which outlives it.
    FiguresQuery FiguresOf(const StoredDevice& device) { return {m_Connection, device}; }
    HistorySummary Summarize(const StoredDevice& device, const Period& period);
    /// Calls `take` with each alarm of the devices that are asked for, and of their ports unless a device is named, in
    /// order of their starts, until it returns false: those that were on at any time of the period.
    void ReadAlarms(const HistoryQuery& query, const std::function<bool(const AlarmRow&)>& take);
    AlarmPage Alarms(const AlarmQuestion& question) { return FindAlarms(m_Connection, question, m_Now); }

private:
    struct Session {
        std::int64_t Start = 0;
        std::int64_t End = 0;  ///< of one that runs: now
    };

    void LoadSessions();
    std::vector<StoredDevice> AllDevices();
    /// Times in which nobody has read a device that was read before.
    std::vector<HistoryRow> TimesNotRead(const StoredDevice& device, const Period& period) const;
    bool AnySessionWithin(std::int64_t from, std::int64_t to) const;
    StoredSeries SeriesOf(platform::SqliteStatement& row);

    platform::SqliteConnection m_Connection;
    std::int64_t m_Now;
    std::map<std::int64_t, Session> m_Sessions;
};

}  // namespace orvix::station
