#pragma once

#include <string>

#include "station/model/alarm.h"
#include "station/model/bus_setup.h"
#include "station/model/device_identity.h"
#include "station/model/exchange.h"
#include "station/model/line_event.h"
#include "station/model/reading.h"

namespace orvix::station {

/// Somebody who wants to know what happens on buses, from the one who drives a line to the one who shows its readings.
/// Those who listen to a running station are called on the program's main thread and may not block it.
class Listener {
public:
    virtual ~Listener() = default;

    /// A bus is about to be started, or its devices are about to change.
    virtual void OnSetup(const BusSetup&) {}
    /// It is known which device answers at a place: before its first reading, and when it may be another one.
    virtual void OnIdentity(const DeviceIdentity&) {}
    virtual void OnReading(const Reading&) {}
    /// Something is wrong with a bus that belongs to no single reading. Said once until a reading is good again.
    virtual void OnTrouble(const std::string& /*port*/, const Failure&) {}
    /// A message of the library to its host, fields shown as " | ".
    virtual void OnMessage(const std::string& /*port*/, const std::string& /*text*/) {}
    /// Whether OnMessage is to be called: messages are many, and carrying one to another thread wakes that.
    virtual bool WantsMessages() const { return false; }
    virtual void OnLine(const LineEvent&) {}
    /// What became of a request on a line; after the events that it is made of.
    virtual void OnExchange(const Exchange&) {}
    virtual void OnAlarm(const AlarmEvent&) {}
    /// A device has stopped answering, which was told without a reading.
    virtual void OnLost(const DeviceId&) {}
    /// A device belongs to the station no longer; nothing more is heard of it, and what is kept of it goes.
    virtual void OnDeviceGone(const DeviceId&) {}
    /// The same of a port, after its devices.
    virtual void OnPortGone(const std::string& /*port*/) {}
};

}  // namespace orvix::station
