#pragma once

#include <string>

#include "platform/virtual_apartment.h"
#include "station/library/bus.h"
#include "station/source/bus_thread.h"
#include "station/source/replay_line.h"
#include "station/store/recording.h"

namespace orvix::station {

/// One bus of a recording: the library works on the recorded line, in virtual time and on the caller's thread, so that
/// it does the same each time.
class ReplayBus : private Listener {
public:
    /// `station` outlives this, and is of no other bus: one that was on the same port would share its devices.
    /// `listener` is called while the bus runs. Raises Error when the library refuses the setup.
    ReplayBus(Station& station, const RecordingHeader& header, const RecordedBus& recorded, Listener& listener);
    /// Takes the bus down in order.
    ~ReplayBus() override;
    ReplayBus(const ReplayBus&) = delete;
    ReplayBus& operator=(const ReplayBus&) = delete;

    /// Lets the bus work until this time since the start of the recording.
    void RunUntil(Duration time);

    bool Over() const { return m_Line.Over(); }
    const ReplayLine& Line() const { return m_Line; }

private:
    /// Hands on what happens on the line.
    void TakeEvent(LineEvent event);
    void OnReading(const Reading& told) override;
    void OnTrouble(const std::string& port, const Failure& failure) override;
    /// When the devices change next, on the scheduler's clock.
    Duration ChangeTime() const;
    bool IsChangeDue() const { return ChangeTime() <= m_Scheduler.Now(); }
    /// Whether a change that is due removes the device while a reading of it is on its way.
    bool IsRemoved(int address) const;
    /// Changes the devices to those that the bus had next.
    void Change();

    const std::int64_t m_StartedUnixMilliseconds;
    const std::vector<RecordedSetup> m_Setups;
    std::size_t m_NextSetup = 1;
    Listener& m_Listener;
    platform::VirtualScheduler m_Scheduler;
    platform::VirtualApartment m_Apartment{m_Scheduler};
    ReplayLine m_Line;
    BusServices m_Services;
    Bus m_Bus;
};

}  // namespace orvix::station
