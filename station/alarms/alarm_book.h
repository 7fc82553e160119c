#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "station/bus/bus.h"
#include "station/bus/reading.h"

namespace orvix::station {

/// What of a device's readings is out of bounds.
enum class AlarmKind { Low, High, Input };

/// An alarm that starts or ends.
struct AlarmEvent {
    std::int64_t UnixMilliseconds = 0;
    std::string Port;
    int Address = 0;
    std::string Name;
    AlarmKind Kind = AlarmKind::Low;
    int Input = 0;       ///< bit number, of an Input alarm
    bool Starts = true;  ///< else it ends
    double Value = 0;    ///< the reading that started or ended it: degrees Celsius, or the state of the input, 0 or 1
    double Limit = 0;    ///< what Value is compared with
    bool Withdrawn = false;  ///< it ends because its limit is there no more

    /// "high", "low" or "input 3".
    std::string KindText() const;
    /// One sentence: "31.2 °C is above the limit of 30 °C", "input 3 is on", "29.8 °C is no longer above ...".
    std::string Text() const;
};

/// The alarms of a station's devices. Time comes with the readings.
///
/// An alarm starts with the last of HoldOff readings in a row that are out of bounds and ends with the last of as many
/// that are within. A reading that failed tells nothing of the value: it neither counts nor breaks a row.
class AlarmBook {
public:
    /// Sets the limits of a device; alarms that they no longer know end with the device's next reading.
    void Limits(const std::string& port, int address, const AlarmLimits& limits);
    /// Takes a reading in. Returns the alarms that it starts or ends.
    std::vector<AlarmEvent> Take(const Reading& reading);
    /// Drops a device. Returns the ends of its alarms.
    std::vector<AlarmEvent> Forget(const std::string& port, int address, std::int64_t unixMilliseconds);
    /// Alarms that have started and not ended, each with the event that started it.
    std::vector<AlarmEvent> Active() const;

private:
    using Device = std::pair<std::string, int>;
    using Key = std::tuple<AlarmKind, int>;
    struct Watch {
        int Contrary = 0;  ///< readings in a row that contradict Active
        bool Active = false;
        AlarmEvent Start;
    };
    struct Watched {
        AlarmLimits Limits;
        std::map<Key, Watch> Alarms;
    };

    static void Withdraw(const std::map<Key, Watch>& alarms, std::int64_t unixMilliseconds,
                         std::vector<AlarmEvent>& events);

    std::map<Device, Watched> m_Devices;
};

}  // namespace orvix::station
