#include <iostream>

#include "simulator/bus_server.h"
#include "station/commands/line_reading.h"
#include "station/door/station_client.h"
#include "station/json/json.h"
#include "station/library/folders.h"
#include "station/model/text.h"

namespace orvix::station {
namespace {

/// The value alone of a device that is the only one; of several each with its address.
void Show(const Reading& reading, const BusSetup& setup, bool isJson, Output& output) {
    if (isJson) return output.Show(reading);
    const auto address = std::to_string(reading.Address);
    if (!reading.Valid()) return output.Trouble(setup.PortLabel + ", device " + address, reading.Error);
    if (setup.Devices.size() > 1) std::cout << address << "\t";
    std::cout << ValueText(reading.Value) << std::endl;
}

/// Has the station that has the port read, which takes no longer than the exchanges. Nothing when there is none.
std::optional<int> ReadByStation(const ReadOptions& options, Output& output) {
    const auto& port = OnlyPort(options.Bus);
    const AskedStation station(FindFolders(options.Bus.Data).Data);
    const auto bus = station.BusOn(port.Path);
    if (!bus) return std::nullopt;
    BusSetup setup;
    setup.PortLabel = *bus;
    setup.Devices = port.Devices;
    const auto body = Dump({{"variable", NameOf(options.Variable)}});
    int status = kDone;
    for (const auto& device : port.Devices) {
        const auto path = "/api/v1/devices/" + station.IdOf(*bus, device.Address) + "/read";
        const auto answer = station.Ask({.Method = "POST", .Path = path, .Body = body});
        if (!answer) throw Error(errors::General, "the station has ended meanwhile");
        const auto reading = ReadingOf(*answer);
        Show(reading, setup, options.Bus.Json, output);
        if (!reading.Valid()) status = kFailed;
    }
    return status;
}

}  // namespace

int Execute(const ReadOptions& options, MainLoop& loop) {
    if (const auto status = ReadByStation(options, *OutputOf(options.Bus.Json))) return *status;
    auto station = OpenStation(options.Bus.Data);
    auto setup = SetupOf(options.Bus, OnlyPort(options.Bus), *station);
    const auto output = OutputOf(options.Bus.Json);
    TellNotices(*station, *output);

    const auto simulated = SimulatedUnlessPort(options.Bus, setup, *output);

    MessagesOnly messages(options.Bus, *output);
    return ReadOnLine(
        *station, loop, setup, messages, options.Bus.Json,
        [&](Bus& bus, int address) { return bus.Read(address, options.Variable); },
        [&](const Reading& reading) { Show(reading, setup, options.Bus.Json, *output); });
}

}  // namespace orvix::station
