#pragma once

#include "station/source/bus_thread.h"
#include "station/source/source.h"

namespace orvix::station {

/// Buses on serial ports, each on a thread of its own.
class LiveSource : public Source {
public:
    /// Both outlive this and its buses.
    LiveSource(StationResources& station, Apartment& home) : m_Station(station), m_Home(home) {}

    Apartment& Home() override { return m_Home; }
    Duration Elapsed() override;
    std::unique_ptr<SourceBus> Open(const BusSetup& setup, Listener& listener, std::function<void()> ended) override;

private:
    StationResources& m_Station;
    Apartment& m_Home;
};

}  // namespace orvix::station
