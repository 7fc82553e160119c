#include "station/commands/commands.h"

#include <iostream>

#include "simulator/bus_server.h"
#include "station/library/folders.h"
#include "station/sink/lines/journal.h"
#include "station/sink/lines/lines.h"

namespace orvix::station {

int Execute(const TextOptions& options, MainLoop&) {
    std::cout << options.Text;
    return kDone;
}

std::unique_ptr<StationResources> OpenStation(const std::string& data) {
    return std::make_unique<StationResources>(FindFolders(data), FindLibrary());
}

BusSetup SetupOf(const BusOptions& options, const PortOptions& port, StationResources& station) {
    BusSetup setup;
    setup.PortLabel = port.Path.value_or(kSimulatedPort);
    setup.PortPath = setup.PortLabel;
    setup.PortNumber = station.Ports.Of(setup.PortLabel);
    setup.Devices = port.Devices;
    Apply(options.OfBuses, setup);
    return setup;
}

void TellNotices(const StationResources& station, Output& output) {
    for (const auto& notice : station.Host.Notices())
        output.Note(notice);
}

std::unique_ptr<Output> OutputOf(bool json, bool namesPorts) {
    return json ? MakeJsonOutput(std::cout, std::cerr)
                : MakePlainOutput(std::cout, std::cerr, {namesPorts, ErrorsGoToJournal()});
}

const PortOptions& OnlyPort(const BusOptions& options) {
    if (options.Ports.size() > 1) throw UsageError("name one port: " + *options.Ports[1].Path + " is a second one");
    return options.Ports[0];
}

std::vector<simulator::SimulatedDevice> DemonstrationDevices() {
    return {simulator::ParseSimulatedDevice("5:sensor=21.5"),
            simulator::ParseSimulatedDevice("6:sensor=ramp:18:24:60s"), simulator::ParseSimulatedDevice("7:digital=5")};
}

std::unique_ptr<simulator::BusServer> SimulatedUnlessPort(const BusOptions& options, BusSetup& setup, Output& output) {
    if (OnlyPort(options).Path) return nullptr;
    auto server = std::make_unique<simulator::BusServer>(simulator::SimulatedBus(DemonstrationDevices()), 0);
    setup.PortPath = server->Terminal().Path();
    output.Note("this bus is simulated; name a real one with --port PATH");
    return server;
}

}  // namespace orvix::station
