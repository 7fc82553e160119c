#include <iostream>

#include "simulator/bus_server.h"
#include "station/commands.h"

namespace orvix::station {

int RunCommand(const RunOptions& options, MainLoop& loop) {
    auto station = OpenStation(options.Bus);
    auto setup = SetupOf(options.Bus, *station);
    setup.Every = options.Every;
    const auto output = OutputOf(options.Bus.Json);

    std::optional<simulator::BusServer> simulated;
    if (!options.Bus.Port) {
        const auto devices = DemonstrationDevices();
        simulated.emplace(simulator::SimulatedBus(devices), 0);
        setup.PortPath = simulated->Terminal().Path();
        if (setup.Devices.empty()) {
            for (const auto& device : devices)
                setup.Devices.push_back({device.Address, device.Model, {}});
        }
        output->Note("this bus is simulated; name a real one with --port PATH --device ADDRESS:MODEL");
    }

    bool anyGood = false;
    const auto stopWhenUnheard = [&] {
        if (!std::cout) loop.Stop();
    };
    BusEvents events{
        .OnReading =
            [&](const Reading& reading) {
                anyGood = anyGood || reading.Valid();
                output->Show(reading);
                stopWhenUnheard();
            },
        .OnTrouble = [&](const Failure& failure) { output->Trouble(setup.PortLabel, failure); },
        .OnMessage =
            [&](const std::string& text) {
                if (options.Bus.Verbose) output->Message(setup.PortLabel, text);
            },
    };
    BusThread bus(*station, loop.Apartment(), setup, std::move(events));
    bus.Post([](Bus& b) { b.Poll(); });

    const auto end = loop.Apartment().CreateTimer([&] { loop.Stop(); });
    if (options.For) end->Rearm(static_cast<std::int32_t>(options.For->count()), true);
    loop.Run();
    return anyGood ? kDone : kFailed;
}

}  // namespace orvix::station
