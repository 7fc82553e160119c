#pragma once

#include <functional>
#include <string>

#include "platform/virtual_apartment.h"
#include "station/library/bus.h"
#include "station/source/bus_thread.h"
#include "station/source/replay_line.h"
#include "station/source/source.h"

namespace orvix::station {

/// One bus of a recording: the library works on the recorded line, in virtual time and on the caller's thread, so that
/// it does the same each time.
class ReplayBus : public SourceBus, private Listener {
public:
    /// Takes what is to be told to the listener, with the time of then. Times of one bus may go back a little.
    using TellThen = std::function<void(Duration time, std::function<void(Listener&)> event)>;

    /// `station` outlives this, and is of no other bus: one that was on the same port would share its devices. `began`
    /// is counted from the start of the recording, which is `startedUnixMilliseconds`. Raises Error when the library
    /// refuses the setup.
    ReplayBus(StationResources& station, const BusSetup& setup, RecordedEvents& events, Duration began,
              std::int64_t startedUnixMilliseconds, TellThen tell);
    ~ReplayBus() override;
    ReplayBus(const ReplayBus&) = delete;
    ReplayBus& operator=(const ReplayBus&) = delete;

    const BusSetup& Setup() const override { return m_Bus.Setup(); }
    void Poll() override;
    void Devices(const DeviceChanges& changes) override;
    /// In order, at once.
    void Close() override;

    /// Lets the bus work until this time since the start of the recording.
    void RunUntil(Duration time);
    /// Whether nothing that it does now was recorded.
    bool Over() const { return m_Line.Over(); }
    const ReplayLine& Line() const { return m_Line; }

private:
    void OnIdentity(const DeviceIdentity& identity) override;
    void OnReading(const Reading& told) override;
    void OnTrouble(const std::string& port, const Failure& failure) override;
    void OnLine(const LineEvent& event) override;
    void OnExchange(const Exchange& exchange) override;

    const std::int64_t m_StartedUnixMilliseconds;
    RecordedEvents& m_Events;
    const TellThen m_Tell;
    bool m_IsClosed = false;
    platform::VirtualScheduler m_Scheduler;
    platform::VirtualApartment m_Apartment{m_Scheduler};
    ReplayLine m_Line;
    BusServices m_Services;
    Bus m_Bus;
};

}  // namespace orvix::station
