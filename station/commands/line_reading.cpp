#include "station/commands/line_reading.h"

namespace orvix::station {

int ReadOnLine(StationResources& station, MainLoop& loop, const BusSetup& setup, Listener& listener,
               const std::function<Reading(Bus& bus, int address)>& read,
               const std::function<void(const Reading&)>& show) {
    BusThread bus(station, loop.Apartment(), setup, listener);
    std::size_t good = 0;
    std::size_t left = setup.Devices.size();
    const auto take = [&](const Reading& reading) {
        show(reading);
        if (reading.Valid()) ++good;
        if (--left == 0) loop.Stop();
    };
    for (const auto& device : setup.Devices) {
        bus.Post([&, address = device.Address](Bus& b) {
            loop.Apartment().Post([&take, reading = read(b, address)] { take(reading); });
        });
    }
    loop.Run();
    return good == setup.Devices.size() ? kDone : kFailed;
}

}  // namespace orvix::station
