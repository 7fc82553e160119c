#include <algorithm>
#include <filesystem>

#include "simulator/device_arguments.h"
#include "station/command_line/arguments.h"

namespace orvix::station {
namespace {

void AddNamedPort(std::vector<PortOptions>& ports, const std::string& path) {
    const auto isNamed = [&](const PortOptions& port) { return port.Path == path; };
    if (std::any_of(ports.begin(), ports.end(), isNamed)) throw UsageError("port " + path + " is named twice");
    ports.push_back({path, {}});
}

void AddNamedDevice(std::vector<DeviceSetup>& devices, const std::string& text) {
    const auto argument = simulator::ParseDeviceArgument(text, ":");
    const auto isNamed = [&](const DeviceSetup& device) { return device.Address == argument.Address; };
    if (std::any_of(devices.begin(), devices.end(), isNamed)) {
        throw UsageError("device '" + text + "': address " + std::to_string(argument.Address) + " is named twice");
    }
    if (argument.Rest == ":") throw UsageError("device '" + text + "': the name behind the second colon is empty");
    devices.push_back({argument.Address, argument.Model, argument.Rest.empty() ? "" : argument.Rest.substr(1), {}});
}

/// Ports and devices in the order in which they stand, each device with the port before it. A device before the only
/// port is on that one as well.
std::vector<PortOptions> PortsOf(const RawBusOptions& raw, const CLI::App& command) {
    std::vector<PortOptions> ports;
    std::vector<DeviceSetup> early;
    auto path = raw.Ports.begin();
    auto device = raw.Devices.begin();
    for (const auto* option : command.parse_order()) {
        if (option->check_name(kPort)) AddNamedPort(ports, AbsolutePath(*path++));
        if (option->check_name(kDevice)) AddNamedDevice(ports.empty() ? early : ports.back().Devices, *device++);
    }
    if (ports.empty()) ports.push_back({});
    if (ports.size() > 1 && !early.empty()) {
        throw UsageError("device " + std::to_string(early[0].Address) + " stands before the first of several ports");
    }
    ports[0].Devices.insert(ports[0].Devices.begin(), early.begin(), early.end());
    return ports;
}

}  // namespace

void AddJsonFlag(CLI::App& command, bool& json) {
    command.add_flag("--json", json, "one JSON object a line on standard output");
}

void AddDataOption(CLI::App& command, std::string& data) {
    AddPath(command, "--data", data, "DIR", "folder of the database and of what is recorded");
}

std::string AbsolutePath(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal().string();
}

void AddBusOptions(CLI::App& command, RawBusOptions& raw) {
    AddPath(command, kPort, raw.Ports, "PATH", "serial device; without it a simulated bus; repeatable")
        ->allow_extra_args(false)
        ->take_all();
    command
        .add_option(kDevice, raw.Devices,
                    "address and model (sensor or digital), with a name if you like; repeatable; with several ports it "
                    "is on the port named before it")
        ->type_name("A:M[:NAME]")
        ->allow_extra_args(false)
        ->take_all();
    AddDataOption(command, raw.Parsed.Data);
    command.add_option("--retries", raw.Parsed.Retries, "extra attempts of a failed exchange")
        ->check(CLI::Range(0, 100))
        ->capture_default_str();
    command
        .add_option("--timeout-factor", raw.Parsed.TimeoutFactor, "time-out per character; an answer has five of them")
        ->type_name("MS")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    command.add_flag("--driver-thread", raw.Parsed.DriverThread, "run the driver on a thread of its own");
    AddJsonFlag(command, raw.Parsed.Json);
    command.add_flag("--trace", raw.Parsed.Trace,
                     "write a trace into the folder Log of the data folder, in the file of the day of its start, and "
                     "to nimbo1 trace");
    command.add_flag("-v,--verbose", raw.Parsed.Verbose, "also show the library's messages and progress");
    command.add_flag("--debug", raw.Parsed.Debug, "show the driver's debug lines; implies --verbose");
}

BusOptions ReadBusOptions(RawBusOptions raw, const CLI::App& command) {
    raw.Parsed.Ports = PortsOf(raw, command);
    raw.Parsed.Verbose = raw.Parsed.Verbose || raw.Parsed.Debug;
    return raw.Parsed;
}

bool NamesOneDevice(const BusOptions& options) {
    return options.Ports.size() == 1 && options.Ports[0].Devices.size() == 1;
}

}  // namespace orvix::station
