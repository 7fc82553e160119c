#include <iostream>

#include "host/characters.h"
#include "simulator/device_arguments.h"
#include "station/commands/commands.h"
#include "station/door/station_client.h"
#include "station/json/json.h"
#include "station/library/folders.h"
#include "station/store/device_registry.h"
#include "station/store/host_data.h"

namespace orvix::station {
namespace {

using Action = DevicesOptions::Action;

/// What the one that was last at the place is called; null when none of its model has been read there.
Json IdentifierAt(const KnownDevice& device, const std::vector<DeviceIdentity>& identities) {
    Json identifier;
    for (const auto& known : identities) {
        const bool isHere = known.Port == device.Port && known.Address == device.Address;
        if (isHere) identifier = IdentifierJson(known.Model == device.Model ? known.Identifier : "");
    }
    return identifier;
}

void ListAsJson(const std::vector<KnownDevice>& devices, const std::vector<DeviceIdentity>& identities) {
    for (const auto& device : devices) {
        const Json object{{"event", "device"},
                          {"id", IdentifierAt(device, identities)},
                          {"port", device.Port},
                          {"address", device.Address},
                          {"model", device.Model},
                          {"name", device.Name},
                          {"serial", SerialJson(device.SerialNumber)}};
        std::cout << Dump(object) << std::endl;
    }
}

void List(const std::vector<KnownDevice>& devices) {
    std::string port;
    for (const auto& device : devices) {
        if (device.Port != port) std::cout << Printable(port = device.Port) << "\n";
        std::cout << "  " << device.Address << "\t" << simulator::ModelName(device.Model) << "\t"
                  << (device.SerialNumber.empty() ? "-" : SerialText(device.SerialNumber)) << "\t"
                  << Printable(device.Name) << "\n";
    }
    std::cout << std::flush;
}

/// Changes one device; false when there is none at the address.
bool Change(const DevicesOptions& options, DeviceRegistry& registry) {
    const auto& device = options.Device;
    const auto& port = options.Port.value();
    if (options.What == Action::Add) {
        registry.Remember({port, device.Address, device.Model, device.Name, {}});
        return true;
    }
    if (!registry.Knows(port, device.Address)) return false;
    if (options.What == Action::Rename) {
        registry.Rename(port, device.Address, device.Name);
    } else {
        registry.Remove(port, device.Address);
    }
    return true;
}

/// Has the station that has the port rename or remove the device. False when there is none.
bool ChangeByStation(const DevicesOptions& options, const std::string& folder) {
    const AskedStation station(folder);
    const auto bus = station.BusOn(*options.Port);
    if (!bus) return false;
    const auto path = "/api/v1/devices/" + station.IdOf(*bus, options.Device.Address);
    if (options.What == Action::Remove) return station.Ask({.Method = "DELETE", .Path = path}).has_value();
    const auto body = Dump({{"name", options.Device.Name}});
    return station.Ask({.Method = "PATCH", .Path = path, .Body = body}).has_value();
}

}  // namespace

int Execute(const DevicesOptions& options, MainLoop&) {
    const auto folders = FindFolders(options.Data);
    const bool isChange = options.What == Action::Rename || options.What == Action::Remove;
    if (isChange && ChangeByStation(options, folders.Data)) return kDone;
    const HostData host(folders.Data);
    if (!host.WhyPassing().empty() && options.What != Action::List) throw Error(errors::General, host.WhyPassing());
    for (const auto& notice : host.Notices())
        std::cerr << "nimbo1: " << notice << std::endl;
    DeviceRegistry registry(host.Folder());
    if (options.What != Action::List) {
        if (Change(options, registry)) return kDone;
        throw Error(errors::General,
                    "no device is known at address " + std::to_string(options.Device.Address) + " of " + *options.Port);
    }
    const auto devices = registry.Devices(options.Port);
    if (options.Json) {
        ListAsJson(devices, registry.Identities());
    } else {
        List(devices);
    }
    if (devices.empty()) {
        std::cerr << "nimbo1: no device is known; find some with nimbo1 scan --port PATH --remember" << std::endl;
    }
    return kDone;
}

}  // namespace orvix::station
