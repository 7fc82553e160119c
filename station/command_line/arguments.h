#pragma once

#include <CLI/CLI.hpp>
#include <iterator>
#include <string>
#include <vector>

#include "station/command_line/command_line.h"

namespace orvix::station {

// Each adds one command with its options. When the parser has found it, its options are read, checked and put into
// `result`; UsageError says what is wrong with them.
void AddRun(CLI::App& app, CommandLine& result);
void AddRecord(CLI::App& app, CommandLine& result);
void AddReplay(CLI::App& app, CommandLine& result);
void AddRead(CLI::App& app, CommandLine& result);
void AddHistory(CLI::App& app, CommandLine& result);
void AddAlarms(CLI::App& app, CommandLine& result);
void AddExport(CLI::App& app, CommandLine& result);
void AddSimulate(CLI::App& app, CommandLine& result);
void AddTrace(CLI::App& app, CommandLine& result);
void AddScan(CLI::App& app, CommandLine& result);
void AddDevices(CLI::App& app, CommandLine& result);
void AddConfig(CLI::App& app, CommandLine& result);
void AddHealth(CLI::App& app, CommandLine& result);

// What commands have in common.

inline constexpr char kPort[] = "--port";
inline constexpr char kDevice[] = "--device";

/// What the parser leaves of the options of a bus as texts, to be read and checked after it.
struct RawBusOptions {
    std::vector<std::string> Ports;
    std::vector<std::string> Devices;
    BusOptions Parsed;
};

void AddBusOptions(CLI::App& command, RawBusOptions& raw);
BusOptions ReadBusOptions(RawBusOptions raw, const CLI::App& command);
/// Whether the options name one device on one port.
bool NamesOneDevice(const BusOptions& options);

/// "A:M" or "A:M:NAME". Raises UsageError.
DeviceSetup ParseNamedDevice(const std::string& text);

void AddDataOption(CLI::App& command, std::string& data);
void AddTimeoutFactorOption(CLI::App& command, std::optional<std::int32_t>& factor);
void AddJsonFlag(CLI::App& command, bool& json);

inline constexpr char kLastHour[] = "1h";

/// What the options of a period leave as texts.
struct RawPeriod {
    std::string Since;
    std::string Until;
};

/// The last hour, or what `since` says, when nothing is said; up to now.
void AddPeriodOptions(CLI::App& command, RawPeriod& raw, const std::string& since = kLastHour);
Period ReadPeriod(const RawPeriod& raw, const std::string& since = kLastHour);

/// An option whose value is a path, or several. An empty one, as of an unset variable in a script, must not pass for an
/// option that is not there.
template <class Target>
CLI::Option* AddPath(CLI::App& command, const char* option, Target& path, const char* type, const char* help) {
    return command.add_option(option, path, help)->type_name(type)->check([](const std::string& text) {
        return std::string(text.empty() ? "the name is empty" : "");
    });
}

std::string AbsolutePath(const std::string& path);
/// What the history calls a port named at the command line.
std::string PortLabelOf(const std::string& port);

/// Values of an option that are rows of a table with a Name.
template <class Table>
std::vector<std::string> NamesOf(const Table& table) {
    std::vector<std::string> names;
    for (const auto& known : table)
        names.emplace_back(known.Name);
    return names;
}

}  // namespace orvix::station
