#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "station/model/bus_setup.h"
#include "station/model/listener.h"
#include "station/run/health.h"
#include "station/run/sliding_window.h"

namespace orvix::station {

/// Keeps what the lines of a station tell of the health of its buses and devices, in bounded space. It has no clock:
/// time comes with the events.
class HealthBook : public Listener {
public:
    HealthBook();
    ~HealthBook() override;

    /// Only the devices of a setup are watched, until they are gone.
    void OnSetup(const BusSetup& setup) override;
    void OnDeviceGone(const DeviceId& device) override;
    void OnPortGone(const std::string& port) override;
    void OnReading(const Reading& reading) override;
    void OnTrouble(const std::string& port, const Failure& failure) override;
    void OnLine(const LineEvent& event) override;
    void OnExchange(const Exchange& exchange) override;

    /// How all is at a time of the events' clock, which is `unixMilliseconds` of the day's. Names, identifiers and
    /// qualities are those of `values`.
    StationHealth At(Duration now, std::int64_t unixMilliseconds, const std::vector<Reading>& values);

private:
    class BusRecord;

    std::map<std::string, std::unique_ptr<BusRecord>> m_Buses;
};

}  // namespace orvix::station
