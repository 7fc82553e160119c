#include <optional>

#include "host/iOrvixDevices.h"
#include "platform/document_file.h"
#include "platform/serial_line.h"
#include "simulator/bus_server.h"
#include "station/commands/commands.h"
#include "station/library/device_export.h"
#include "station/library/failure_text.h"

namespace orvix::station {
namespace {

/// A saved device needs no bus.
std::optional<Failure> ExportSaved(const ExportOptions& options, StationResources& station) {
    platform::RealApartment apartment;
    platform::SerialLine line({});
    BusServices services(station.ServicesFor({}), apartment, line);
    const auto messages = services.Get().Database.CreateConnection();
    messages->Open(station.Folders.Database + kDatabaseFile, station.Folders.Database + kWorkgroupFile,
                   station.Host.Account());
    Failure failure;
    services.OnReport = [&](const std::string& report) { failure = FailureOf(*messages, errors::General, report); };
    const auto devices = station.Library.Create<iOrvixDevices>("cOrvixDevicesNB1", services.Get());
    const auto device = devices->AddFromFile(options.From);
    if (device && SaveDevice(*device, options.Target)) return std::nullopt;
    return failure;
}

std::optional<Failure> ExportLive(const ExportOptions& options, StationResources& station, MainLoop& loop,
                                  Output& output) {
    auto setup = SetupOf(options.Bus, OnlyPort(options.Bus), station);
    const auto simulated = SimulatedUnlessPort(options.Bus, setup, output);
    std::optional<Failure> failure = Failure{errors::NotExecuted, "stopped", {}};
    MessagesOnly messages(options.Bus, output);
    BusThread bus(station, loop.Apartment(), setup, messages);
    bus.Post([&](Bus& b) {
        std::optional<Failure> outcome;
        try {
            outcome = b.Export(setup.Devices[0].Address, options.Target);
        } catch (const Error& error) {
            outcome = Failure{error.Number, error.Description, error.Description};
        }
        loop.Apartment().Post([&, outcome] {
            failure = outcome;
            loop.Stop();
        });
    });
    loop.Run();
    return failure;
}

}  // namespace

int Execute(const ExportOptions& options, MainLoop& loop) {
    auto station = OpenStation(options.Bus.Data);
    const auto output = OutputOf(options.Bus.Json);
    TellNotices(*station, *output);
    const bool isSaved = !options.From.empty();
    const auto failure = isSaved ? ExportSaved(options, *station) : ExportLive(options, *station, loop, *output);
    if (failure) {
        output->Trouble(isSaved ? options.From : "device " + std::to_string(OnlyPort(options.Bus).Devices[0].Address),
                        *failure);
        return kFailed;
    }
    if (options.Target.File != platform::kStandardOutput) output->Note("wrote " + options.Target.File);
    return kDone;
}

}  // namespace orvix::station
