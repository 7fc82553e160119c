#pragma once

#include <functional>
#include <memory>

#include "host/apartment.h"
#include "host/error.h"
#include "station/model/bus_setup.h"
#include "station/model/device_file.h"
#include "station/model/listener.h"

namespace orvix::station {

/// A bus that is online or on its way there, from construction to destruction.
class SourceBus {
public:
    virtual ~SourceBus() = default;
    /// What it is, as it was asked for; devices without a name have the one that the library gave them.
    virtual const BusSetup& Setup() const = 0;
    /// Has every device's measured value read once a period, from now on.
    virtual void Poll() = 0;
    /// Adds, removes and renames devices, so that they are those.
    virtual void Devices(const DeviceChanges& changes) = 0;
    /// Reads a device before what else waits, and calls `done` in the home of its source. Raises Error when the bus
    /// cannot be asked anything.
    virtual void Read(int /*address*/, ORVIXCNB1_VARS /*variable*/,
                      const std::function<void(const Reading&)>& /*done*/) {
        throw Error(errors::General, "a recorded bus answers only what it was asked");
    }
    /// The same, and makes a file of the device.
    virtual void Export(int /*address*/, std::int32_t /*format*/,
                        const std::function<void(const DeviceFile&)>& /*done*/) {
        throw Error(errors::General, "a recorded bus answers only what it was asked");
    }
    /// Writes the trace, when there is one, into a file that is there.
    virtual void ReopenTrace() {}
    /// Whether it gets on with its work; `now` is the steady time of the source. Ask it now and then.
    virtual bool Moves(Duration /*now*/) { return true; }
    /// Begins to take the bus down; nothing can be done with it any more.
    virtual void Close() = 0;
};

/// Where the buses of a station are: on serial ports, or in a recording.
class Source {
public:
    virtual ~Source() = default;
    /// The apartment in which listeners are told. Its steady time, its date and its timers are those of the buses.
    virtual Apartment& Home() = 0;
    /// By this ages are measured: nobody sets it, and it goes on while the machine sleeps.
    virtual Duration Elapsed() { return Home().Now(); }
    /// `listener` is told what happens on the bus. `ended` is called when a bus that was closed has gone, so that
    /// destruction waits no more. Raises what keeps it from starting.
    virtual std::unique_ptr<SourceBus> Open(const BusSetup& setup, Listener& listener, std::function<void()> ended) = 0;
};

}  // namespace orvix::station
