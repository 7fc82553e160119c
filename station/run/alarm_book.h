#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "host/apartment.h"
#include "station/model/alarm.h"
#include "station/model/bus_setup.h"
#include "station/model/reading.h"

namespace orvix::station {

/// The alarms of a station's devices and ports. Time comes from outside: what is said of an alarm bears that of the
/// clock, how long something lasts is measured by a steady one, `now`.
///
/// An alarm of a value starts with the last of HoldOff readings in a row that are out of bounds and ends with the last
/// of as many that are within, in each case of HoldOffTime at least. A reading that failed, or whose value is doubtful,
/// tells nothing of the value: it neither counts nor breaks a row. An alarm of a time starts when that has passed.
class AlarmBook {
public:
    /// Takes up a device or gives it other limits; alarms that they no longer know end with the device's next reading.
    void Watch(const std::string& port, const DeviceSetup& device, Duration now);
    /// Does the same with a port that may be gone for so long; 0: for ever.
    void WatchPort(const std::string& port, std::chrono::milliseconds gone);
    /// Alarms that were on when an earlier session ended. They are on until the first readings say otherwise, once it
    /// is known where their devices are.
    void Know(const std::vector<AlarmState>& left) { m_Left.insert(m_Left.end(), left.begin(), left.end()); }
    /// It is known which device is at a place; of a port, with the address 0, it has none.
    void Identify(const DeviceId& place, const std::string& identifier, std::int64_t unixMilliseconds, Duration now);
    /// An alarm that has started is called this from now on.
    void Name(const AlarmEvent& started);
    /// Somebody knows of an alarm. Returns what is to be told; nothing when there is no such alarm that is on.
    std::optional<AlarmEvent> Acknowledge(const std::string& alarm, const Acknowledgement& acknowledgement);
    /// Takes a reading in. Returns the alarms that it starts or ends.
    std::vector<AlarmEvent> Take(const Reading& reading, Duration now);
    /// Whether a port works. Returns the alarm that this ends.
    std::vector<AlarmEvent> Port(const std::string& port, bool works, std::int64_t unixMilliseconds, Duration now);
    /// Takes in an alarm that another station has judged, as it stands there, and makes of the change what it is here.
    /// Returns whether it is news.
    bool Hear(AlarmEvent& told);
    /// The alarms that start because time has passed; to be asked for now and then.
    std::vector<AlarmEvent> Passing(std::int64_t unixMilliseconds, Duration now);
    /// Drops a device, or a port with the address 0. Returns the ends of its alarms; those that were heard of, too.
    std::vector<AlarmEvent> Forget(const DeviceId& device, std::int64_t unixMilliseconds);
    /// Alarms that have started and not ended, each with the event that started it.
    std::vector<AlarmEvent> Active() const;

private:
    using Key = std::tuple<AlarmKind, int>;
    struct Alarm {
        int OppositeReadings = 0;  ///< in a row, out of bounds before the alarm is active and within afterwards
        Duration Since{0};         ///< when the first of them came; of a time that is too long, when it began
        bool Active = false;
        bool IsLeft = false;  ///< by an earlier session, and not judged yet
        AlarmEvent Start;
    };
    struct Watched {
        std::string Port;
        int Address = 0;
        std::string Name;
        AlarmLimits Limits;
        std::chrono::milliseconds PortGone{0};
        Duration GoodAt{0};                   ///< when the latest good value came, or the device was taken up
        std::optional<Duration> DoubtSince;   ///< since when there have been doubtful values alone
        std::optional<Duration> FailedSince;  ///< of a port
        std::map<Key, Alarm> Alarms;
    };
    /// A rule next to what it is about.
    struct Comparison {
        AlarmKind Kind;
        int Input;
        double Value;
        double Limit;
        bool IsOutside;
    };

    static bool IsWatched(const Watched& watched, const Key& key);
    static std::vector<Comparison> CompareValue(const Watched& watched, const ReadingValue& value);
    static std::vector<Comparison> CompareTimes(const Watched& watched, Duration now);
    static bool IsActive(const Watched& watched, AlarmKind kind);
    static AlarmEvent EventOf(const Watched& watched, const Comparison& comparison, std::int64_t unixMilliseconds);
    static void JudgeTimes(Watched& watched, std::int64_t unixMilliseconds, Duration now,
                           std::vector<AlarmEvent>& events);
    static void JudgeValue(Watched& watched, const Reading& reading, Duration now, std::vector<AlarmEvent>& events);
    static void Change(Watched& watched, const Comparison& comparison, std::int64_t unixMilliseconds,
                       std::vector<AlarmEvent>& events);
    /// An alarm that an earlier session has left still holds.
    static void GoOn(Alarm& alarm, std::int64_t unixMilliseconds, std::vector<AlarmEvent>& events);
    static double LimitOf(const Watched& watched, const Key& key);
    static void Resume(Watched& watched, const AlarmState& left, std::int64_t unixMilliseconds, Duration now);
    /// Ends alarms; those that `isOver` names.
    static void Withdraw(Watched& watched, std::int64_t unixMilliseconds, bool (*isOver)(const Watched&, const Key&),
                         std::vector<AlarmEvent>& events);

    std::map<DeviceId, Watched> m_Watched;
    std::map<std::pair<DeviceId, Key>, AlarmEvent> m_Heard;  ///< those that are on
    std::vector<AlarmState> m_Left;
};

}  // namespace orvix::station
