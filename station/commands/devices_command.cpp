#include <algorithm>
#include <iostream>
#include <map>
#include <tuple>

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

struct ListedDevice {
    KnownDevice Device;
    Json Identifier;
};

std::vector<ListedDevice> Remembered(DeviceRegistry& registry, const std::optional<std::string>& port) {
    const auto identities = registry.Identities();
    std::vector<ListedDevice> devices;
    for (const auto& device : registry.Devices(port))
        devices.push_back({device, IdentifierAt(device, identities)});
    return devices;
}

/// Adds what a running station reads and nobody has remembered, such as what its configuration names.
void AddWhatIsRead(const AskedStation& station, const std::optional<std::string>& port,
                   std::vector<ListedDevice>& devices) {
    const auto about = station.Ask({.Path = "/api/v1/station"});
    const auto read = station.List("devices", "devices");
    if (!about || !read) return;
    std::map<std::string, std::string> ports;
    for (const auto& bus : (*about)["buses"])
        ports[bus["bus"]] = bus[bus["simulated"].get<bool>() ? "bus" : "port_path"];
    const auto place = [](const ListedDevice& listed) { return std::tie(listed.Device.Port, listed.Device.Address); };
    for (const auto& device : *read) {
        const ListedDevice listed{{ports[device["bus"]], device["address"], device["model"], device["name"], {}},
                                  device["id"]};
        const bool isThere = std::any_of(devices.begin(), devices.end(),
                                         [&](const ListedDevice& other) { return place(other) == place(listed); });
        if (!isThere && (!port || listed.Device.Port == *port)) devices.push_back(listed);
    }
    std::sort(devices.begin(), devices.end(),
              [&](const ListedDevice& one, const ListedDevice& other) { return place(one) < place(other); });
}

void ListAsJson(const std::vector<ListedDevice>& devices) {
    for (const auto& [device, identifier] : devices) {
        const Json object{{"event", "device"},
                          {"id", identifier},
                          {"port", device.Port},
                          {"address", device.Address},
                          {"model", device.Model},
                          {"name", device.Name},
                          {"serial", SerialJson(device.SerialNumber)}};
        std::cout << Dump(object) << std::endl;
    }
}

void List(const std::vector<ListedDevice>& devices) {
    std::string port;
    for (const auto& [device, identifier] : devices) {
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

/// Has the station that has the port add, rename or remove the device. False when there is none.
bool ChangeByStation(const DevicesOptions& options, const std::string& folder) {
    const AskedStation station(folder);
    const auto bus = station.BusOn(options.Port);
    if (!bus) return false;
    const auto& device = options.Device;
    if (options.What == Action::Add) {
        const auto added =
            Dump({{"bus", *bus}, {"address", device.Address}, {"model", device.Model}, {"name", device.Name}});
        return station.Ask({.Method = "POST", .Path = "/api/v1/devices", .Body = added}).has_value();
    }
    const auto path = "/api/v1/devices/" + station.IdOf(*bus, options.Device.Address);
    if (options.What == Action::Remove) return station.Ask({.Method = "DELETE", .Path = path}).has_value();
    const auto body = Dump({{"name", options.Device.Name}});
    return station.Ask({.Method = "PATCH", .Path = path, .Body = body}).has_value();
}

}  // namespace

int Execute(const DevicesOptions& options, MainLoop&) {
    const auto folders = FindFolders(options.Data);
    if (options.What != Action::List && ChangeByStation(options, folders.Data)) return kDone;
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
    auto devices = Remembered(registry, options.Port);
    AddWhatIsRead(AskedStation(folders.Data), options.Port, devices);
    if (options.Json) {
        ListAsJson(devices);
    } else {
        List(devices);
    }
    if (devices.empty()) {
        std::cerr << "nimbo1: no devices are known; find them with nimbo1 scan --port PATH --remember" << std::endl;
    }
    return kDone;
}

}  // namespace orvix::station
