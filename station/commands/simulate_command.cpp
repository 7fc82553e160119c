#include <iostream>

#include "simulator/bus_server.h"
#include "station/commands/commands.h"

namespace orvix::station {

int Execute(const SimulateOptions& options, MainLoop& loop) {
    simulator::BusServer server(simulator::SimulatedBus(options.Devices), options.Baud);
    if (!options.Link.empty()) server.Terminal().Link(options.Link);
    std::cout << (options.Link.empty() ? server.Terminal().Path() : options.Link) << std::endl;
    loop.Run();
    return kDone;
}

}  // namespace orvix::station
