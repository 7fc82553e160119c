#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "station/model/alarm.h"
#include "station/model/mqtt_setup.h"
#include "station/model/reading.h"
#include "station/store/roll_up.h"

namespace orvix::station {

/// What readings are of.
struct SeriesKey {
    std::string Port;
    int Address = 0;
    std::int32_t Model = 0;
    std::string Name;
    std::string Variable;

    auto operator<=>(const SeriesKey&) const = default;

    DeviceId Device() const { return IdOf(Port, Address); }
    /// Inputs, as opposed to a temperature.
    bool IsInputs() const { return Variable == NameOf(ORVIXCNB1_VAR_INPUTBYTE); }
};

/// Why a series has come to its end. The numbers are in the file.
enum class SeriesEnd { Removed = 1, Slept = 2, ClockSet = 3, Changed = 4 };

// Times are milliseconds since 1970. A series is an index into HistoryBatch::Series.

/// What one run reads of one variable of one device, from a time on.
struct SeriesRow {
    SeriesKey Key;
    std::string Identifier;  ///< of the device
    std::int64_t From = 0;
    bool IsSparse = false;  ///< its readings are only the changes
};

struct ReadingRow {
    std::size_t Series = 0;
    std::int64_t Time = 0;
    double Value = 0;
    std::int64_t Seq = 0;
    Doubt Why = Doubt::None;
};

/// Readings in a row that have failed for one reason.
struct Gap {
    std::int64_t To = 0;  ///< of the reading that ended it; while it lasts, of the latest of them
    std::int64_t Count = 0;
    ErrorNumber Code = 0;
    std::string Text;
    std::int64_t Seq = 0;  ///< of the first and the latest of them
    std::int64_t LastSeq = 0;
};

/// Series and time of the first failure.
using GapKey = std::pair<std::size_t, std::int64_t>;

/// The minutes of a series that are complete.
struct CompleteMinutes {
    std::vector<MinuteFigures> Minutes;
    std::int64_t Until = 0;  ///< no minute before this time follows
};

/// Something that happened to the history itself.
struct HistoryEvent {
    std::int64_t Time = 0;
    std::string Kind;
    std::string Text;
};

/// A broker, and one of the files that it gets rows of.
struct BrokerOfHistory {
    std::string Broker;
    std::string History;  ///< UUID of the file

    auto operator<=>(const BrokerOfHistory&) const = default;
};

/// What is to be written.
struct HistoryBatch {
    /// All series of this run of the station. Only grows.
    std::vector<SeriesRow> Series;
    std::vector<ReadingRow> Readings;
    std::map<GapKey, Gap> Gaps;
    std::map<std::size_t, CompleteMinutes> Minutes;
    std::map<std::size_t, std::pair<std::int64_t, SeriesEnd>> Ends;
    std::map<std::size_t, std::string> Names;          ///< of devices that have told theirs
    std::map<std::string, std::string> SerialNumbers;  ///< that devices have told, by their identifiers
    std::map<std::string, AlarmState> Alarms;          ///< by their ids
    std::vector<HistoryEvent> Events;
    /// That the rows are carried to, from now on.
    std::vector<std::string> Brokers;
    std::chrono::hours Resend = kResend;  ///< for so long they can ask again for what they have acknowledged
    std::map<BrokerOfHistory, std::int64_t> Acknowledgements;  ///< written with other rows

    void Add(const AlarmState& alarm);
    std::size_t Rows() const;
    /// Adds what has come after this.
    void Append(HistoryBatch later);
    void ClearRows() {
        Readings.clear();
        Gaps.clear();
        Minutes.clear();
        Ends.clear();
        Names.clear();
        SerialNumbers.clear();
        Alarms.clear();
        Events.clear();
        Acknowledgements.clear();
    }
};

}  // namespace orvix::station
