#pragma once

#include <cstdint>
#include <string>

#include "station/model/device_id.h"

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
    std::int64_t Seq = 0;    ///< of this run's readings and alarms, counted from 1 when they are taken

    DeviceId Id() const { return IdOf(Port, Address); }
    /// "high", "low" or "input 3".
    std::string KindText() const;
    /// One sentence: "31.2 °C is above the limit of 30 °C", "input 3 is on", "29.8 °C is no longer above ...".
    std::string Text() const;
};

}  // namespace orvix::station
