#pragma once

#include <functional>
#include <string>

#include "platform/virtual_apartment.h"
#include "station/bus/bus.h"
#include "station/bus/bus_thread.h"
#include "station/recording/recording.h"
#include "station/recording/replay_line.h"

namespace orvix::station {

/// What a replayed bus tells; called while it runs.
struct ReplayEvents {
    std::function<void(const Reading&)> OnReading;
    std::function<void(const std::string& port, const Failure&)> OnTrouble;
};

/// One bus of a recording: the library works on the recorded line, in virtual time and on the caller's thread, so that
/// it does the same each time.
class ReplayBus {
public:
    /// `station` outlives this; `index` counts the buses of the header from 0. Raises Error when the library refuses
    /// the setup.
    ReplayBus(Station& station, const Recording& recording, std::size_t index, ReplayEvents events);
    /// Takes the bus down in order.
    ~ReplayBus();
    ReplayBus(const ReplayBus&) = delete;
    ReplayBus& operator=(const ReplayBus&) = delete;

    /// Lets the bus work until this time since its start.
    void RunUntil(Duration time);

    bool Over() const { return m_Line.Over(); }
    const ReplayLine& Line() const { return m_Line; }

private:
    BusEvents EventsOf(ReplayEvents events);

    std::int64_t m_StartedUnixMilliseconds;
    platform::VirtualScheduler m_Scheduler;
    platform::VirtualApartment m_Apartment{m_Scheduler};
    ReplayLine m_Line;
    BusServices m_Services;
    Bus m_Bus;
};

}  // namespace orvix::station
