#include <iostream>

#include "simulator/bus_server.h"
#include "station/commands.h"

namespace orvix::station {

int ReadCommand(const ReadOptions& options, MainLoop& loop) {
    auto station = OpenStation(options.Bus);
    auto setup = SetupOf(options.Bus, *station);
    const auto output = OutputOf(options.Bus.Json);

    std::optional<simulator::BusServer> simulated;
    if (!options.Bus.Port) {
        simulated.emplace(simulator::SimulatedBus(DemonstrationDevices()), 0);
        setup.PortPath = simulated->Terminal().Path();
        output->Note("this bus is simulated; name a real one with --port PATH");
    }

    std::optional<Reading> result;
    BusEvents events{
        .OnReading = [](const Reading&) {},
        .OnTrouble = [](const Failure&) {},
        .OnMessage =
            [&](const std::string& text) {
                if (options.Bus.Verbose) output->Note(text);
            },
    };
    BusThread bus(*station, loop.Apartment(), setup, std::move(events));
    const auto address = setup.Devices[0].Address;
    bus.Post([&](Bus& b) {
        loop.Apartment().Post([&, reading = b.Read(address, options.Variable)] {
            result = reading;
            loop.Stop();
        });
    });
    loop.Run();

    if (!result) return kFailed;
    if (options.Bus.Json) {
        output->Show(*result);
    } else if (result->Valid()) {
        std::cout << ValueText(*result) << std::endl;
    } else {
        output->Trouble(setup.PortLabel + ", device " + std::to_string(address), result->Error);
    }
    return result->Valid() ? kDone : kFailed;
}

}  // namespace orvix::station
