#include "station/setup/arguments.h"

namespace orvix::station {
namespace {

using Action = DevicesOptions::Action;

Argument AddressOf(DeviceSetup& device) {
    auto argument = WholeOf("address", "its address", 1, 255, device.Address);
    argument.IsRequired = true;
    return argument;
}

/// A command inside of `devices`, for one device on one port; `arguments` of it come first.
Command DeviceCommand(const char* name, const char* help, const std::shared_ptr<DevicesOptions>& options, Action action,
                      std::vector<Argument> arguments) {
    options->What = action;
    arguments.push_back({.Name = kPort,
                         .Type = "PATH",
                         .Help = "the device's port",
                         .Take = [options](const Value& value) { options->Port = value.Path(); },
                         .IsRequired = true});
    arguments.push_back(DataOption(options->Data));
    return {name, help, std::move(arguments), [options] { return *options; }};
}

Command AddCommand() {
    const auto options = std::make_shared<DevicesOptions>();
    return DeviceCommand("add", "add a device, or replace the one at its address", options, Action::Add,
                         {{.Name = "device",
                           .Type = "A:M[:NAME]",
                           .Help = "its address and model, optionally with a name",
                           .Take = [options](const Value& value) { options->Device = ParseNamedDevice(value.Text()); },
                           .IsRequired = true}});
}

Command RenameCommand() {
    const auto options = std::make_shared<DevicesOptions>();
    auto name = TextOf("name", "NAME", "its new name", options->Device.Name);
    name.IsRequired = true;
    return DeviceCommand("rename", "give a device another name", options, Action::Rename,
                         {AddressOf(options->Device), std::move(name)});
}

Command RemoveCommand() {
    const auto options = std::make_shared<DevicesOptions>();
    return DeviceCommand("remove", "forget a device", options, Action::Remove, {AddressOf(options->Device)});
}

}  // namespace

Command DevicesCommand() {
    const auto options = std::make_shared<DevicesOptions>();
    return {.Name = "devices",
            .Help = "list the known devices, or add, rename or remove one",
            .Arguments = {{.Name = kPort,
                           .Type = "PATH",
                           .Help = "only devices on this port",
                           .Take = [options](const Value& value) { options->Port = value.Path(); }},
                          DataOption(options->Data),
                          JsonFlag(options->Json)},
            .Finish = [options] { return *options; },
            .Inside = {AddCommand(), RenameCommand(), RemoveCommand()}};
}

}  // namespace orvix::station
