#include "station/command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <set>

#include "simulator/device_arguments.h"
#include "station/command_line/version.h"

namespace orvix::station {
namespace {

constexpr const char* kCommands[] = {"run", "read", "export", "simulate", "trace"};

constexpr std::chrono::milliseconds kShortestPeriod{100};

constexpr char kPort[] = "--port";
constexpr char kDevice[] = "--device";

constexpr char kTraceHelp[] =
    "show the trace lines of all your stations as they are made, until Ctrl-C. A station that runs with --trace looks "
    "for this viewer once, with its first line: start the viewer before the stations";

// What the parser leaves as texts, to be read and checked after it.
struct RawBusOptions {
    std::vector<std::string> Ports;
    std::vector<std::string> Devices;
    BusOptions Parsed;
};

/// An empty name, as of an unset variable in a script, must not pass for an option that is not there.
template <class Target>
CLI::Option* AddPath(CLI::App& command, const char* option, Target& path, const char* type, const char* help) {
    return command.add_option(option, path, help)->type_name(type)->check([](const std::string& text) {
        return std::string(text.empty() ? "the name is empty" : "");
    });
}

void AddJsonFlag(CLI::App& command, bool& json) {
    command.add_flag("--json", json, "one JSON object a line on standard output");
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
    AddPath(command, "--data", raw.Parsed.Data, "DIR", "folder of the database and of what is recorded");
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

std::string AbsolutePath(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal().string();
}

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

BusOptions Read(RawBusOptions raw, const CLI::App& command) {
    raw.Parsed.Ports = PortsOf(raw, command);
    raw.Parsed.Verbose = raw.Parsed.Verbose || raw.Parsed.Debug;
    return raw.Parsed;
}

bool NamesOneDevice(const BusOptions& options) {
    return options.Ports.size() == 1 && options.Ports[0].Devices.size() == 1;
}

struct FormatName {
    const char* Name;
    std::int32_t Format;
};

constexpr FormatName kFormatNames[] = {
    {"text", kFileFormatText}, {"report", kFileFormatReport}, {"device", kFileFormatDevice}};

struct RawOptions {
    RawBusOptions Bus;
    std::string Every = "1s";
    std::string For;
    bool Plain = false;
    std::string Variable;
    std::string From;
    std::string Format;
    std::string Out;
    SimulateOptions Simulate;
    std::vector<std::string> SimulatedDevices;
    TraceOptions Trace;
};

RunOptions ReadRun(const RawOptions& raw, const CLI::App& command) {
    RunOptions options{
        .Bus = Read(raw.Bus, command), .Every = simulator::ParseDuration(raw.Every), .For = {}, .Plain = raw.Plain};
    if (options.Every < kShortestPeriod) throw UsageError("--every " + raw.Every + ": the shortest period is 100ms");
    if (!raw.For.empty()) options.For = simulator::ParseDuration(raw.For);
    for (const auto& port : options.Bus.Ports) {
        if (port.Path && port.Devices.empty()) {
            throw UsageError("no device named for " + *port.Path +
                             ": add --device ADDRESS:MODEL, such as --device 5:sensor");
        }
    }
    return options;
}

ReadOptions ReadRead(const RawOptions& raw, const CLI::App& command) {
    ReadOptions options{.Bus = Read(raw.Bus, command), .Variable = {}};
    if (!NamesOneDevice(options.Bus)) throw UsageError("name the one device to read: --device ADDRESS:MODEL");
    for (const auto& known : kVariableNames) {
        if (raw.Variable == known.Name) options.Variable = known.VarID;
    }
    return options;
}

ExportOptions ReadExport(const RawOptions& raw, const CLI::App& command) {
    ExportOptions options{
        .Bus = Read(raw.Bus, command), .From = {}, .Target = {.File = AbsolutePath(raw.Out), .Format = {}}};
    if (!raw.From.empty()) options.From = AbsolutePath(raw.From);
    if (options.From.empty() && !NamesOneDevice(options.Bus)) {
        throw UsageError("name the one device to export: --device ADDRESS:MODEL, or a saved one: --from FILE");
    }
    for (const auto& known : kFormatNames) {
        if (raw.Format == known.Name) options.Target.Format = known.Format;
    }
    return options;
}

SimulateOptions ReadSimulate(RawOptions raw) {
    for (const auto& text : raw.SimulatedDevices) {
        raw.Simulate.Devices.push_back(simulator::ParseSimulatedDevice(text));
    }
    return raw.Simulate;
}

template <class Table>
std::vector<std::string> NamesOf(const Table& table) {
    std::vector<std::string> names;
    for (const auto& known : table)
        names.emplace_back(known.Name);
    return names;
}

CLI::App* AddExport(CLI::App& app, RawOptions& raw) {
    auto* command = app.add_subcommand("export", "write a device's log and state to a file");
    AddBusOptions(*command, raw.Bus);
    AddPath(*command, "--from", raw.From, "FILE", "a saved device file in place of a device on the bus")
        ->excludes(kPort)
        ->excludes(kDevice);
    command->add_option("--format", raw.Format, "text: a listing; report: PDF; device: for --from")
        ->required()
        ->check(CLI::IsMember(NamesOf(kFormatNames)));
    AddPath(*command, "--out", raw.Out, "FILE", "the file, replaced when it is there")->required();
    return command;
}

}  // namespace

CommandLine ParseCommandLine(std::vector<std::string> arguments) {
    const auto isCommand = [&](const char* name) { return !arguments.empty() && arguments[0] == name; };
    const bool forWhole = isCommand("--help") || isCommand("-h") || isCommand("--version");
    if (!forWhole && std::none_of(std::begin(kCommands), std::end(kCommands), isCommand)) {
        if (!arguments.empty() && !arguments[0].starts_with('-')) throw UsageError("unknown command " + arguments[0]);
        arguments.insert(arguments.begin(), "run");
    }

    CLI::App app("Station for Nimbo1 temperature sensors and digital-input modules on a serial bus.", "nimbo1");
    app.set_version_flag("--version", std::string("nimbo1 ") + kVersion);
    app.require_subcommand(1);
    RawOptions raw;

    auto* run = app.add_subcommand(
        "run", "go online and show the readings (the default command): live on a terminal, else one a line");
    AddBusOptions(*run, raw.Bus);
    run->add_option("--every", raw.Every, "polling period")->type_name("TIME")->capture_default_str();
    run->add_option("--for", raw.For, "stop after this time")->type_name("TIME");
    run->add_flag("--plain", raw.Plain, "lines instead of the live screen, also on a terminal");

    auto* read = app.add_subcommand("read", "read one variable of one device, then exit");
    AddBusOptions(*read, raw.Bus);
    read->add_option("variable", raw.Variable, "what to read")
        ->required()
        ->check(CLI::IsMember(NamesOf(kVariableNames)));

    auto* exporting = AddExport(app, raw);

    auto* simulate = app.add_subcommand("simulate", "a simulated bus on a pseudo-terminal");
    AddPath(*simulate, "--link", raw.Simulate.Link, "PATH", "give the port this name as well");
    simulate
        ->add_option("--device", raw.SimulatedDevices,
                     "5:sensor=21.5, 6:sensor=ramp:20:30:60s or 7:digital=5; repeatable")
        ->type_name("A:M[=VALUE]")
        ->allow_extra_args(false)
        ->take_all()
        ->required();
    simulate->add_option("--baud", raw.Simulate.Baud, "pace bytes as a line of this speed does")
        ->check(CLI::Range(50, 4'000'000));

    auto* trace = app.add_subcommand("trace", kTraceHelp);
    AddJsonFlag(*trace, raw.Trace.Json);

    CommandLine result;
    try {
        std::reverse(arguments.begin(), arguments.end());
        app.parse(arguments);
        if (run->parsed()) result.Run = ReadRun(raw, *run);
        if (read->parsed()) result.Read = ReadRead(raw, *read);
        if (exporting->parsed()) result.Export = ReadExport(raw, *exporting);
        if (simulate->parsed()) result.Simulate = ReadSimulate(raw);
        if (trace->parsed()) result.Trace = raw.Trace;
    } catch (const CLI::CallForHelp&) {
        result.Text = app.help();
    } catch (const CLI::CallForVersion&) {
        result.Text = std::string("nimbo1 ") + kVersion + "\n";
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    } catch (const simulator::ArgumentError& error) {
        throw UsageError(error.what());
    }
    return result;
}

}  // namespace orvix::station
