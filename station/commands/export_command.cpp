#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "host/iOrvixDevices.h"
#include "platform/document_file.h"
#include "platform/serial_line.h"
#include "simulator/bus_server.h"
#include "station/commands/commands.h"
#include "station/door/station_client.h"
#include "station/library/device_export.h"
#include "station/library/failure_text.h"
#include "station/library/folders.h"

namespace orvix::station {
namespace {

/// A saved device needs no bus.
DeviceFile ExportSaved(const ExportOptions& options, StationResources& station) {
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
    auto bytes = device ? FileOf(*device, options.Format) : std::nullopt;
    if (bytes) return {.Bytes = std::move(*bytes)};
    return {.Error = failure};
}

/// Has the station that has the port make the file. Nothing when there is none.
std::optional<DeviceFile> ExportByStation(const ExportOptions& options) {
    const auto& port = OnlyPort(options.Bus);
    const AskedStation station(FindFolders(options.Bus.Data).Data);
    const auto bus = station.BusOn(port.Path);
    if (!bus) return std::nullopt;
    const auto* format = std::find_if(std::begin(kDeviceFileFormats), std::end(kDeviceFileFormats),
                                      [&](const DeviceFileFormat& one) { return one.Format == options.Format; });
    const auto path = "/api/v1/devices/" + station.IdOf(*bus, port.Devices[0].Address) + "/export";
    const auto text = station.Text({.Method = "POST", .Path = path, .Body = Dump({{"format", format->Name}})});
    if (!text) throw Error(errors::General, "the station has ended meanwhile");
    return DeviceFile{.Bytes = {text->begin(), text->end()}};
}

DeviceFile ExportLive(const ExportOptions& options, StationResources& station, MainLoop& loop, Output& output) {
    auto setup = SetupOf(options.Bus, OnlyPort(options.Bus), station);
    const auto simulated = SimulatedUnlessPort(options.Bus, setup, output);
    DeviceFile file{.Error = Failure{errors::NotExecuted, "stopped", {}}};
    MessagesOnly messages(options.Bus, output);
    BusThread bus(station, loop.Apartment(), setup, messages);
    bus.Post([&](Bus& b) {
        loop.Apartment().Post([&, made = b.Export(setup.Devices[0].Address, options.Format)] {
            file = made;
            loop.Stop();
        });
    });
    loop.Run();
    return file;
}

DeviceFile Export(const ExportOptions& options, MainLoop& loop, Output& output) {
    const bool isSaved = !options.From.empty();
    if (!isSaved) {
        if (auto file = ExportByStation(options)) return std::move(*file);
    }
    const auto station = OpenStation(options.Bus.Data);
    TellNotices(*station, output);
    return isSaved ? ExportSaved(options, *station) : ExportLive(options, *station, loop, output);
}

}  // namespace

int Execute(const ExportOptions& options, MainLoop& loop) {
    const auto output = OutputOf(options.Bus.Json);
    const auto file = Export(options, loop, *output);
    if (file.Error) {
        const bool isSaved = !options.From.empty();
        output->Trouble(isSaved ? options.From : "device " + std::to_string(OnlyPort(options.Bus).Devices[0].Address),
                        *file.Error);
        return kFailed;
    }
    platform::DocumentFile document(options.File);
    document.Write(file.Bytes);
    document.Finish();
    if (options.File != platform::kStandardOutput) output->Note("wrote " + options.File);
    return kDone;
}

}  // namespace orvix::station
