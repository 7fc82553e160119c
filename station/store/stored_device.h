#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "station/store/history_rows.h"

namespace orvix::station {

/// What one run has read of one variable of one device. Times are milliseconds since 1970.
struct StoredSeries {
    std::int64_t Row = 0;
    std::optional<std::int64_t> Session;  ///< nothing in a series of layout 1, which several runs have filled
    std::int64_t From = 0;
    std::int64_t To = 0;  ///< up to now of one that is being read
    std::optional<SeriesEnd> Ended;
    std::int64_t RolledUntil = 0;  ///< the minutes before it are in the roll-ups
    bool IsSparse = false;         ///< its readings are only the changes
};

/// One variable of one device: a temperature or inputs.
struct StoredDevice {
    std::int64_t Number = 0;
    std::string Id;
    SeriesKey Key;                     ///< place and name that it had last
    std::vector<StoredSeries> Series;  ///< by their begin

    bool IsInputs() const { return Key.IsInputs(); }
};

/// A reading, or a time without readings.
struct HistoryRow {
    const StoredDevice* Device = nullptr;
    std::int64_t Time = 0;
    ReadingValue Value;  ///< nothing: a gap
    Doubt Why = Doubt::None;
    std::int64_t Until = 0;  ///< of a gap: its end
    std::int64_t Count = 0;  ///< of a gap: failed readings; 0 while nobody has read
    Failure Reason;          ///< of a gap

    bool IsGap() const { return std::holds_alternative<std::monostate>(Value); }
};

/// Degrees, or the input byte; of a value that is one of both.
double NumberOf(const ReadingValue& value);

void AddTo(RollUp& rollUp, const HistoryRow& row);

}  // namespace orvix::station
