#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "station/model/alarm.h"
#include "station/store/change_filter.h"
#include "station/store/clock_watch.h"
#include "station/store/history_rows.h"

namespace orvix::station {

/// Rows on their way from the station to the writer of its history: a bounded number, whatever becomes of the writer.
/// All members may be called on any thread and take no longer than putting a row into memory.
class PendingRows {
public:
    /// `most` rows wait at the same time; readings beyond are lost, and counted as a gap of their own.
    PendingRows(std::size_t most, const ChangeSetup& changes) : m_Most(most), m_Changes(changes) {}

    /// From now on this device is read at a place; what was read there under another name, or of another device, has
    /// ended. Without a name it has the one that comes with its readings; an empty serial number is not known.
    void Watch(const SeriesKey& key, const std::string& identifier, const std::string& serialNumber,
               const ClockTimes& now);
    /// It is not read any more.
    void Unwatch(const DeviceId& device, const ClockTimes& now);
    void Add(const Reading& reading, const ClockTimes& now);
    /// Something is wrong with a port: until its devices are heard again, this is why they are not.
    void Trouble(const std::string& port, const Failure& failure, const ClockTimes& now);
    /// An alarm is one row from its start to its end.
    void Add(const AlarmEvent& alarm);
    void Add(const HistoryEvent& event);
    /// The brokers that rows are carried to from now on, and for how long they can ask for them again.
    void SendTo(const std::vector<std::string>& brokers, std::chrono::hours resend = kResend);
    void Acknowledge(const BrokerOfHistory& who, std::int64_t n);
    /// Nothing follows: the minutes that have begun are complete.
    void End();

    /// Moves all rows into the batch, whose rows keep counting as waiting until Written.
    void TakeInto(HistoryBatch& batch, const ClockTimes& now);
    /// The batch taken is in the file.
    void Written();
    /// Readings lost since the last call.
    std::int64_t TakeLost();
    /// Whether the clock was set since the last call.
    bool TakeClockWasSet() { return std::exchange(m_ClockWasSet, false); }

private:
    struct Watched {
        Watched(SeriesKey key, std::string identifier)
            : Key(std::move(key)), Identifier(std::move(identifier)), Minutes(Key.IsInputs()) {}

        SeriesKey Key;
        std::string Identifier;
        std::size_t Series = 0;
        RollUp Minutes;
        ChangeFilter Filter{};
        std::optional<std::pair<std::int64_t, Gap>> OpenGap{};  ///< with its beginning
        std::optional<Failure> Trouble{};                       ///< of its port, since it was heard last
        std::int64_t TroubleSince = 0;
        std::int64_t GapTold = 0;  ///< when a row last said how long its gap lasts
    };
    /// With the variable.
    using Place = std::pair<DeviceId, std::string>;
    using Places = std::map<Place, Watched>;

    Watched& Begin(const SeriesKey& key, const std::string& identifier, std::int64_t time);
    void Finish(Watched& watched, std::int64_t time, SeriesEnd end);
    Watched& WatchedOf(const SeriesKey& key, const std::string& identifier, std::int64_t time);
    void TakeTime(const ClockTimes& now);
    bool IsFull() const { return m_Rows.Rows() + m_Taken >= m_Most; }
    void Extend(Watched& watched, const Reading& reading, const Failure& failure);
    void ExtendTroubles();
    void CloseGap(Watched& watched, std::int64_t until);
    bool IsGapDue(Watched& watched);
    void KeepMinutes(Watched& watched);

    const std::size_t m_Most;
    const ChangeSetup m_Changes;
    std::mutex m_Mutex;
    HistoryBatch m_Rows;
    std::size_t m_Series = 0;  ///< begun in this run
    std::size_t m_Taken = 0;
    Places m_Watched;
    ClockWatch m_Clock;
    std::int64_t m_Now = 0;  ///< time of day when it was taken last
    bool m_ClockWasSet = false;
    std::int64_t m_Lost = 0;
};

}  // namespace orvix::station
