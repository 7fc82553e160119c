#pragma once

#include <cstdint>
#include <string>

#include "station/model/device_id.h"

namespace orvix::station {

/// What is out of bounds: a device's readings, or the time without them.
enum class AlarmKind {
    Low,
    High,
    Input,
    Silent,    ///< there has been no good value for a time
    Doubtful,  ///< values have been doubtful for a time
    Port,      ///< the port has failed for a time; of address 0, under the port's name
};

/// An alarm that starts or ends.
struct AlarmEvent {
    std::int64_t UnixMilliseconds = 0;
    std::string Port;
    int Address = 0;
    std::string Name;
    std::string Identifier{};  ///< of the device; empty: it is the port's
    AlarmKind Kind = AlarmKind::Low;
    int Input = 0;       ///< bit number, of an Input alarm
    bool Starts = true;  ///< else it ends
    /// The reading that started or ended it: degrees Celsius, or the state of the input, 0 or 1; or for how many
    /// seconds something has lasted.
    double Value = 0;
    double Limit = 0;        ///< what Value is compared with
    bool Withdrawn = false;  ///< it ends because its limit is there no more
    std::int64_t Seq = 0;    ///< of this run's readings and alarms, counted from 1 when they are taken

    DeviceId Id() const { return IdOf(Port, Address); }
    /// "high", "low", "input 3", "silent", "doubtful" or "port".
    std::string KindText() const;
    /// One sentence: "31.2 °C is above the limit of 30 °C", "input 3 is on", "29.8 °C is no longer above ...",
    /// "no good value for 10 min", "a good value again after 12 min".
    std::string Text() const;
    /// Whether Value and Limit are seconds.
    bool IsOfTime() const { return Kind >= AlarmKind::Silent; }

private:
    std::string TextOfTime() const;
};

}  // namespace orvix::station
