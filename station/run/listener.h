#pragma once

#include <string>

#include "station/alarms/alarm_book.h"
#include "station/bus/line_tap.h"
#include "station/bus/reading.h"

namespace orvix::station {

/// Somebody who wants to know what happens on the buses of a running station. All members are called on the program's
/// main thread; none may block it.
class Listener {
public:
    virtual ~Listener() = default;

    virtual void OnReading(const Reading&) {}
    /// Something is wrong with a bus that belongs to no single reading.
    virtual void OnTrouble(const std::string& /*port*/, const Failure&) {}
    /// A message of the library to its host.
    virtual void OnMessage(const std::string& /*port*/, const std::string& /*text*/) {}
    virtual void OnLine(const LineEvent&) {}
    virtual void OnAlarm(const AlarmEvent&) {}
};

}  // namespace orvix::station
