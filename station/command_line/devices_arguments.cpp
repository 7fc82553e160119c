#include <memory>

#include "station/command_line/arguments.h"

namespace orvix::station {
namespace {

using Action = DevicesOptions::Action;

struct RawDevicesOptions {
    std::string Port;
    std::string Device;
    DevicesOptions Parsed;
};

DevicesOptions ReadDevices(const RawDevicesOptions& raw) {
    auto options = raw.Parsed;
    if (!raw.Port.empty()) options.Port = AbsolutePath(raw.Port);
    if (options.What == Action::Add) options.Device = ParseNamedDevice(raw.Device);
    return options;
}

std::shared_ptr<RawDevicesOptions> AddAction(CLI::App& command, Action action, CommandLine& result) {
    auto raw = std::make_shared<RawDevicesOptions>();
    raw->Parsed.What = action;
    const bool isList = action == Action::List;
    auto* port = AddPath(command, kPort, raw->Port, "PATH", isList ? "only those on this port" : "the device's port");
    if (!isList) port->required();
    AddDataOption(command, raw->Parsed.Data);
    if (isList) AddJsonFlag(command, raw->Parsed.Json);
    command.callback([raw, &command, &result] {
        // The callback of a command comes after that of a command inside it.
        if (command.get_subcommands().empty()) result = ReadDevices(*raw);
    });
    return raw;
}

void AddAddress(CLI::App& command, RawDevicesOptions& raw) {
    command.add_option("address", raw.Parsed.Device.Address, "its address")->required()->check(CLI::Range(1, 255));
}

}  // namespace

void AddDevices(CLI::App& app, CommandLine& result) {
    auto* list = app.add_subcommand("devices", "list the devices that are known, or add, rename or remove one");
    AddAction(*list, Action::List, result);
    list->require_subcommand(0, 1);

    auto* add = list->add_subcommand("add", "add a device, or replace the one at its address");
    const auto added = AddAction(*add, Action::Add, result);
    add->add_option("device", added->Device, "its address and model, with a name if you like")
        ->type_name("A:M[:NAME]")
        ->required();

    auto* rename = list->add_subcommand("rename", "give a device another name");
    const auto renamed = AddAction(*rename, Action::Rename, result);
    AddAddress(*rename, *renamed);
    AddPath(*rename, "name", renamed->Parsed.Device.Name, "NAME", "its new name")->required();

    auto* remove = list->add_subcommand("remove", "forget a device");
    AddAddress(*remove, *AddAction(*remove, Action::Remove, result));
}

}  // namespace orvix::station
