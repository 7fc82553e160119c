#pragma once

#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

#include "station/model/alarm.h"
#include "station/model/bus_setup.h"
#include "station/model/reading.h"

namespace orvix::station {

/// The alarms of a station's devices. Time comes with the readings.
///
/// An alarm starts with the last of HoldOff readings in a row that are out of bounds and ends with the last of as many
/// that are within. A reading that failed tells nothing of the value: it neither counts nor breaks a row.
class AlarmBook {
public:
    /// Sets the limits of a device; alarms that they no longer know end with the device's next reading.
    void Limits(const DeviceId& device, const AlarmLimits& limits);
    /// Takes a reading in. Returns the alarms that it starts or ends.
    std::vector<AlarmEvent> Take(const Reading& reading);
    /// Drops a device. Returns the ends of its alarms.
    std::vector<AlarmEvent> Forget(const DeviceId& device, std::int64_t unixMilliseconds);
    /// Alarms that have started and not ended, each with the event that started it.
    std::vector<AlarmEvent> Active() const;

private:
    using Key = std::tuple<AlarmKind, int>;
    struct Watch {
        int OppositeReadings = 0;  ///< in a row, out of bounds before the alarm is active and within afterwards
        bool Active = false;
        AlarmEvent Start;
    };
    struct Watched {
        AlarmLimits Limits;
        std::map<Key, Watch> Alarms;
    };

    static void Withdraw(const std::map<Key, Watch>& alarms, std::int64_t unixMilliseconds,
                         std::vector<AlarmEvent>& events);

    std::map<DeviceId, Watched> m_Devices;
};

}  // namespace orvix::station
