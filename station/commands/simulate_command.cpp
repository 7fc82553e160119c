#include <iostream>

#include "simulator/bus_server.h"
#include "station/commands/commands.h"

namespace orvix::station {

int Execute(const SimulateOptions& options, MainLoop& loop) {
    const auto tell = [&loop](const std::string& text) {
        loop.Apartment().Post([text] { std::cerr << "nimbo1: " << text << std::endl; });
    };
    simulator::SimulatedBus bus(options.Devices, simulator::FaultPlan(options.Faults, options.Seed),
                                options.Link.empty() ? "NB1" : simulator::SeriesOf(options.Link));
    simulator::BusServer server(std::move(bus), options.Baud, {options.Link, options.Faults, tell});
    std::cout << (options.Link.empty() ? server.Terminal().Path() : options.Link) << std::endl;
    loop.Run();
    return kDone;
}

}  // namespace orvix::station
