#include <iostream>

#include "simulator/bus_server.h"
#include "station/commands/commands.h"
#include "station/model/text.h"

namespace orvix::station {

int Execute(const ReadOptions& options, MainLoop& loop) {
    auto station = OpenStation(options.Bus.Data);
    auto setup = SetupOf(options.Bus, OnlyPort(options.Bus), *station);
    const auto output = OutputOf(options.Bus.Json);
    TellNotices(*station, *output);

    const auto simulated = SimulatedUnlessPort(options.Bus, setup, *output);

    std::optional<Reading> result;
    MessagesOnly messages(options.Bus, *output);
    BusThread bus(*station, loop.Apartment(), setup, messages);
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
        std::cout << ValueText(result->Value) << std::endl;
    } else {
        output->Trouble(setup.PortLabel + ", device " + std::to_string(address), result->Error);
    }
    return result->Valid() ? kDone : kFailed;
}

}  // namespace orvix::station
