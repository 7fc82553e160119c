#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

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

/// Kind, and bit number of an Input alarm, of a text that AlarmEvent::KindText gives; nothing for another one.
std::optional<std::pair<AlarmKind, int>> AlarmKindOf(const std::string& text);

/// The id of an alarm: the begin of its session's UUID, "-", and its number among the session's readings and alarms.
std::string AlarmName(const std::string& session, std::int64_t seq);

/// That somebody knows of an alarm.
struct Acknowledgement {
    std::int64_t UnixMilliseconds = 0;
    std::string By;
    std::string Comment;
};

/// An alarm as it stands.
struct AlarmState {
    std::string Alarm;  ///< its id, for ever; AlarmName
    std::string Port;
    int Address = 0;         ///< 0: it is the port's
    std::string Identifier;  ///< of the device; empty: it is the port's
    std::string Name;        ///< of the device, or the port
    std::string Kind;        ///< as AlarmEvent::KindText
    double Value = 0;        ///< that has started it, as in AlarmEvent
    std::optional<double> Limit{};
    std::string Text;                     ///< why it has started, a sentence
    std::int64_t Started = 0;             ///< milliseconds since 1970
    std::optional<std::int64_t> Ended{};  ///< the same; nothing while it is on
    std::optional<Acknowledgement> Acknowledged{};
};

enum class AlarmChange {
    Started,
    Continued,  ///< it began in an earlier session, and still holds
    Acknowledged,
    Ended,
};

/// Of a device; empty for a port.
std::string AddressText(int address);

/// "start", "continue", "acknowledge" or "end".
const char* NameOf(AlarmChange change);

/// What becomes of an alarm.
struct AlarmEvent {
    std::int64_t UnixMilliseconds = 0;
    std::string Port;
    int Address = 0;
    std::string Name;
    std::string Identifier{};  ///< of the device; empty: it is the port's
    AlarmKind Kind = AlarmKind::Low;
    int Input = 0;  ///< bit number, of an Input alarm
    AlarmChange What = AlarmChange::Started;
    /// The reading that started or ended it: degrees Celsius, or the state of the input, 0 or 1; or for how many
    /// seconds something has lasted.
    double Value = 0;
    double Limit = 0;        ///< what Value is compared with
    bool Withdrawn = false;  ///< it ends because its limit is there no more
    std::int64_t Seq = 0;    ///< of this run's readings and alarms, counted from 1 when they are taken
    std::string Alarm{};     ///< its id, the same from start to end
    std::int64_t Started = 0;
    std::optional<Acknowledgement> Acknowledged{};

    DeviceId Id() const { return IdOf(Port, Address); }
    bool IsOn() const { return What != AlarmChange::Ended; }
    /// "high", "low", "input 3", "silent", "doubtful" or "port".
    std::string KindText() const;
    /// One sentence: "31.2 °C is above the limit of 30 °C", "input 3 is on", "29.8 °C is no longer above ...",
    /// "no good value for 10 min", "a good value again after 12 min".
    std::string Text() const;
    /// Whether Value and Limit are seconds.
    bool IsOfTime() const { return Kind >= AlarmKind::Silent; }
    AlarmState State() const;

private:
    std::string TextOfTime() const;
};

/// What is said of it in a line of output, behind what it is of: "ALARM        31.2 °C is above the limit of 30 °C".
std::string TextOf(const AlarmEvent& event);

}  // namespace orvix::station
