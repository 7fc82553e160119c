#include "station/setup/arguments.h"

#include <algorithm>

#include "host/error.h"
#include "simulator/device_arguments.h"
#include "station/model/clock.h"
#include "station/model/history_time.h"

namespace orvix::station {
namespace {

constexpr std::string_view kPeriodOption = "--every";
constexpr std::string_view kDebugOption = "--debug";

std::int64_t TimeOf(const char* option, const std::string& text, std::int64_t now) {
    try {
        return ParseHistoryTime(text, now);
    } catch (const Error& error) {
        throw UsageError(std::string(option) + " " + error.Description);
    }
}

/// The row of a table that has this name at the command line.
template <class Target>
const Option<Target>& RowOf(std::span<const Option<Target>> table, std::string_view name) {
    return *std::find_if(table.begin(), table.end(),
                         [&](const auto& row) { return row.Name != nullptr && row.Name == name; });
}

/// What is said is tried at once, so that what is wrong is told as an error of the command line, and kept.
template <class Target>
Argument ArgumentOf(const Option<Target>& row, Said<Target>& said) {
    const auto take = [&row, &said](const Value& value) {
        Target tried;
        row.Read(value, tried);
        said.push_back([&row, text = value.Text()](Target& target) { row.Read(TypedValue(text), target); });
    };
    return {.Name = row.Name, .Type = row.Type == nullptr ? "" : row.Type, .Help = row.Help, .Take = take};
}

}  // namespace

Argument Flag(const char* name, const char* help, bool& target) {
    return {
        .Name = name, .Type = {}, .Help = help, .Take = [&target](const Value& value) { target = value.Boolean(); }};
}

Argument PathOf(const char* name, const char* type, const char* help, std::string& target) {
    return {.Name = name, .Type = type, .Help = help, .Take = [&target](const Value& value) { target = value.Path(); }};
}

Argument TextOf(const char* name, const char* type, const char* help, std::string& target) {
    return {.Name = name, .Type = type, .Help = help, .Take = [&target](const Value& value) { target = value.Text(); }};
}

Argument WholeOf(const char* name, const char* help, std::int64_t least, std::int64_t most, int& target) {
    return {.Name = name, .Type = "N", .Help = help, .Take = [&target, least, most](const Value& value) {
                target = static_cast<int>(value.Whole(least, most));
            }};
}

Argument JsonFlag(bool& json) {
    return Flag("--json", "one JSON object per line on standard output", json);
}

Argument DataOption(std::string& data) {
    const auto& row = RowOf(StationOptionTable(), "--data");
    return {.Name = row.Name, .Type = row.Type, .Help = row.Help, .Take = [&data, &row](const Value& value) {
                StationSetup setup;
                row.Read(value, setup);
                data = setup.Data;
            }};
}

Argument BusOption(std::string_view name, BusOptions& bus) {
    return ArgumentOf(RowOf(BusOptionTable(), name), bus.OfBuses);
}

Argument StationOption(std::string_view name, Said<StationSetup>& said) {
    return ArgumentOf(RowOf(StationOptionTable(), name), said);
}

std::vector<Argument> PortArguments(std::function<void(const Value&)> takePort,
                                    std::function<void(const Value&)> takeDevice) {
    return {
        {.Name = kPort,
         .Type = "PATH",
         .Help = "serial device; without it the bus is simulated; repeatable",
         .Take = std::move(takePort),
         .IsRepeatable = true},
        {.Name = kDevice,
         .Type = "A:M[:NAME]",
         .Help = "address and model (sensor or digital), optionally with a name; repeatable; with several ports, it "
                 "is on the port named before it",
         .Take = std::move(takeDevice),
         .IsRepeatable = true}};
}

std::vector<Argument> BusArguments(BusOptions& bus) {
    std::vector<Argument> arguments{DataOption(bus.Data)};
    for (const auto& row : BusOptionTable()) {
        // A period is of commands that poll, which take it themselves.
        if (row.Name == nullptr || row.Name == kPeriodOption) continue;
        arguments.push_back(ArgumentOf(row, bus.OfBuses));
        if (row.Name != kDebugOption) continue;
        arguments.back().Take = [take = arguments.back().Take, &bus](const Value& value) {
            take(value);
            bus.Verbose = true;
        };
    }
    arguments.push_back(JsonFlag(bus.Json));
    arguments.push_back(Flag("-v,--verbose", "also show the library's messages and progress", bus.Verbose));
    return arguments;
}

void AddPort(BusOptions& bus, const std::string& path) {
    auto& ports = bus.Ports;
    if (!ports.front().Path) {
        bus.HasEarlyDevices = !ports.front().Devices.empty();
        ports.front().Path = path;
        return;
    }
    const auto isNamed = [&](const PortOptions& port) { return port.Path == path; };
    if (std::any_of(ports.begin(), ports.end(), isNamed)) throw UsageError("port " + path + " is named twice");
    if (bus.HasEarlyDevices) {
        throw UsageError("device " + std::to_string(ports.front().Devices.front().Address) +
                         " comes before the first of several ports");
    }
    ports.push_back({path, {}});
}

void AddDevice(BusOptions& bus, const std::string& text) {
    auto& devices = bus.Ports.back().Devices;
    const auto added = ParseNamedDevice(text);
    if (DeviceAt(added.Address, devices) != nullptr) {
        throw UsageError("device '" + text + "': address " + std::to_string(added.Address) + " is named twice");
    }
    devices.push_back(added);
}

bool NamesOneDevice(const BusOptions& options) {
    return options.Ports.size() == 1 && options.Ports[0].Devices.size() == 1;
}

DeviceSetup ParseNamedDevice(const std::string& text) {
    const auto argument = simulator::ParseDeviceArgument(text, ":");
    if (argument.Rest == ":") throw UsageError("device '" + text + "': the name after the second colon is empty");
    return {argument.Address, argument.Model, argument.Rest.empty() ? "" : argument.Rest.substr(1), {}};
}

std::vector<Argument> PeriodArguments(PeriodTexts& period, const std::string& since) {
    return {{.Name = "--since",
             .Type = "TIME",
             .Help = "recorded since then: 15m, 2h or 30d ago, or 2026-11-22T10:00 (UTC) [" + since + "]",
             .Take = [&period](const Value& value) { period.Since = value.Text(); }},
            TextOf("--until", "TIME", "recorded before then [now]", period.Until)};
}

Period PeriodOf(const PeriodTexts& texts, const std::string& since) {
    const auto now = UnixMilliseconds();
    const Period period{TimeOf("--since", texts.Since.empty() ? since : texts.Since, now),
                        TimeOf("--until", texts.Until.empty() ? "0s" : texts.Until, now)};
    if (period.Since >= period.Until) throw UsageError("--since is not before --until");
    return period;
}

std::string PortLabelOf(const std::string& port) {
    return port.empty() || port == kSimulatedPort ? port : AbsolutePath(port);
}

}  // namespace orvix::station
