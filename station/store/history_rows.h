#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "station/model/reading.h"

namespace orvix::station {

/// What readings are of.
struct SeriesKey {
    std::string Port;
    int Address = 0;
    std::int32_t Model = 0;
    std::string Name;
    std::string Variable;

    auto operator<=>(const SeriesKey&) const = default;
};

// Times are milliseconds since 1970. A series is an index into HistoryBatch::Series.

struct ReadingRow {
    std::size_t Series = 0;
    std::int64_t Time = 0;
    double Value = 0;
};

/// Readings in a row that have failed for one reason.
struct Gap {
    std::int64_t To = 0;  ///< of the latest of them
    std::int64_t Count = 0;
    ErrorNumber Code = 0;
    std::string Text;
};

/// Series and time of the first failure.
using GapKey = std::pair<std::size_t, std::int64_t>;

/// Something that happens and ends, such as an alarm.
struct HistoryEvent {
    std::int64_t Time = 0;
    std::string Port;
    int Address = 0;
    std::string Kind;
    std::string Text;
    double Value = 0;
    std::optional<std::int64_t> Ended;  ///< nothing while it lasts
};

/// What is to be written.
struct HistoryBatch {
    /// All series of this run of the station, each with the time of its first reading. Only grows.
    std::vector<std::pair<SeriesKey, std::int64_t>> Series;
    std::vector<ReadingRow> Readings;
    std::map<GapKey, Gap> Gaps;
    std::map<std::int64_t, HistoryEvent> Events;  ///< by number, counted from 1 in each run

    std::size_t Rows() const { return Readings.size() + Gaps.size() + Events.size(); }
    void ClearRows() {
        Readings.clear();
        Gaps.clear();
        Events.clear();
    }
};

}  // namespace orvix::station
