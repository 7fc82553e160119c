#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/model/alarm.h"
#include "station/model/reading.h"

namespace orvix::station {

/// A recorded row on its way to a broker: a reading, a gap, or an alarm as it stands now. Times are milliseconds since
/// 1970.
struct OutboxRow {
    std::int64_t N = 0;
    std::string Session;        ///< UUID of the run that has recorded it; of an alarm, that has seen it begin
    std::int64_t Seq = 0;       ///< of the reading; of a gap, of its latest failure; of the alarm
    std::string Identifier;     ///< of the device; empty: it is a port's alarm
    std::string Variable;       ///< empty: an alarm
    std::int64_t Time = 0;      ///< of a gap and of an alarm: its begin
    ReadingValue Value;         ///< nothing: a gap or an alarm
    Doubt Why = Doubt::None;    ///< of a reading
    std::int64_t FirstSeq = 0;  ///< of a gap: of its first failure
    std::int64_t Until = 0;     ///< of a gap: of its latest failure
    std::int64_t Count = 0;     ///< of a gap: failed readings; 0 while none was tried
    Failure Reason{};           ///< of a gap
    std::optional<AlarmState> Alarm{};
};

/// The rows with the numbers `From` to `To`. There are none when `To` is less than `From`.
struct OutboxBatch {
    std::string History;  ///< UUID of the file, in which the numbers count
    std::int64_t From = 0;
    std::int64_t To = 0;
    std::int64_t Skipped = 0;  ///< numbers whose rows were removed
    /// By their numbers. A gap that goes on has several: only the last of them is here.
    std::vector<OutboxRow> Rows;
};

/// Reads what waits for brokers in a history, also while a station writes it, on any one thread. No call leaves a
/// transaction open, so that the writer's log does not grow. Raises Error when there is no history yet or it cannot be
/// read; the next call tries again. A file that has been replaced is followed.
class OutboxReader {
public:
    explicit OutboxReader(std::string file);
    ~OutboxReader();

    /// At most `most` rows behind number `n`.
    OutboxBatch After(std::int64_t n, std::int64_t most);
    /// The number of the newest row; 0 when there has never been one.
    std::int64_t Newest();
    /// Up to which number a broker has all rows, as far as it is written; nothing for one that is not known yet.
    std::optional<std::int64_t> Acknowledged(const std::string& broker);
    /// UUID of the file.
    std::string History();

private:
    class Opened;

    /// Calls `ask` with the open file, which is opened anew after a failure.
    template <class Ask>
    auto With(const Ask& ask);

    const std::string m_File;
    std::unique_ptr<Opened> m_Opened;
};

}  // namespace orvix::station
