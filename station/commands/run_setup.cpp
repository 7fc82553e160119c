#include "station/commands/run_setup.h"

#include <algorithm>
#include <set>

#include "station/commands/commands.h"
#include "station/setup/configuration.h"

namespace orvix::station {
namespace {

void TakeDevices(BusSetup& bus, const PortOptions& port) {
    if (!port.Devices.empty()) bus.Devices = port.Devices;
}

BusSetup BusOf(const std::vector<BusSetup>& buses, const PortOptions& port) {
    const auto isNamed = [&](const BusSetup& bus) { return bus.PortPath == port.Path; };
    const auto known = std::find_if(buses.begin(), buses.end(), isNamed);
    BusSetup bus;
    if (known != buses.end()) bus = *known;
    bus.PortPath = *port.Path;
    TakeDevices(bus, port);
    return bus;
}

void TakePorts(std::vector<BusSetup>& buses, const std::vector<PortOptions>& ports) {
    if (ports[0].Path) {
        std::vector<BusSetup> named;
        named.reserve(ports.size());
        for (const auto& port : ports)
            named.push_back(BusOf(buses, port));
        buses = named;
        return;
    }
    if (buses.empty()) buses.emplace_back();
    if (buses.size() > 1 && !ports[0].Devices.empty()) {
        throw UsageError("the configuration file has several buses: name the --port of each --device");
    }
    TakeDevices(buses[0], ports[0]);
}

/// A bus without a name is called by its port; simulated ones are numbered.
void NameBuses(std::vector<BusSetup>& buses) {
    std::set<std::string> taken;
    for (const auto& bus : buses)
        taken.insert(bus.PortLabel);
    for (auto& bus : buses) {
        if (!bus.PortLabel.empty()) continue;
        const auto first = bus.PortPath.empty() ? kSimulatedPort : bus.PortPath;
        bus.PortLabel = first;
        for (int number = 2; !taken.insert(bus.PortLabel).second; ++number)
            bus.PortLabel = first + " " + std::to_string(number);
    }
}

}  // namespace

StationSetup SetupOf(const RunOptions& options) {
    auto setup = options.Configuration.empty() ? StationSetup{} : LoadConfiguration(options.Configuration);
    if (!options.Bus.Data.empty()) setup.Data = options.Bus.Data;
    Apply(options.OfStation, setup);
    TakePorts(setup.Buses, options.Bus.Ports);
    for (auto& bus : setup.Buses)
        Apply(options.Bus.OfBuses, bus);
    NameBuses(setup.Buses);
    return setup;
}

}  // namespace orvix::station
