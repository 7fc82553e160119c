#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "station/setup/command_line.h"
#include "station/setup/option.h"

namespace orvix::station {

/// An option, a flag or an argument of a command, and what its value does.
struct Argument {
    std::string Name;  ///< "--every", "-q,--quiet"; without dashes: known by its place
    std::string Type;  ///< what help calls its value; empty: a flag
    std::string Help;
    /// Takes each value, those of a command in the order in which they stand; a flag has the value "true". Raises
    /// BadValue, or UsageError with the whole sentence.
    std::function<void(const Value&)> Take;
    bool IsRequired = false;
    bool IsRepeatable = false;
    std::vector<std::string> Excludes = {};  ///< options that do not go with it
};

struct Command {
    std::string Name;
    std::string Help;
    std::vector<Argument> Arguments;
    /// What is asked for, when every value has been taken; raises UsageError. Null: a command inside must be named.
    std::function<CommandLine()> Finish;
    std::vector<Command> Inside = {};
};

Command RunCommand();
Command RecordCommand();
Command ReplayCommand();
Command ReadCommand();
Command HistoryCommand();
Command AlarmsCommand();
Command ExportCommand();
Command SimulateCommand();
Command CollectCommand();
Command TraceCommand();
Command ScanCommand();
Command DevicesCommand();
Command ConfigCommand();
Command ValuesCommand();
Command HealthCommand();
Command MqttCommand();

// What commands have in common. Each fills its target, which must stay where it is.

inline constexpr char kPort[] = "--port";
inline constexpr char kDevice[] = "--device";
inline constexpr char kLastHour[] = "1h";

Argument Flag(const char* name, const char* help, bool& target);
Argument PathOf(const char* name, const char* type, const char* help, std::string& target);
Argument TextOf(const char* name, const char* type, const char* help, std::string& target);
Argument WholeOf(const char* name, const char* help, std::int64_t least, std::int64_t most, int& target);
Argument JsonFlag(bool& json);
Argument DataOption(std::string& data);
/// The row of a table that has this name at the command line.
Argument BusOption(std::string_view name, BusOptions& bus);
Argument StationOption(std::string_view name, Said<StationSetup>& said);
/// --port and --device, which may stand several times; the order of both counts.
std::vector<Argument> PortArguments(std::function<void(const Value&)> takePort,
                                    std::function<void(const Value&)> takeDevice);
/// All else that commands on a bus have in common.
std::vector<Argument> BusArguments(BusOptions& bus);
/// Take a --port, an absolute path, and a --device as they come. Raise UsageError.
void AddPort(BusOptions& bus, const std::string& path);
void AddDevice(BusOptions& bus, const std::string& text);
/// Whether the options name one device on one port.
bool NamesOneDevice(const BusOptions& options);

/// "A:M" or "A:M:NAME". Raises UsageError.
DeviceSetup ParseNamedDevice(const std::string& text);

/// --since and --until as they were said; empty ones were not.
struct PeriodTexts {
    std::string Since;
    std::string Until;
};

/// The last hour, or what `since` says, when nothing is said; up to now.
std::vector<Argument> PeriodArguments(PeriodTexts& period, const std::string& since = kLastHour);
Period PeriodOf(const PeriodTexts& period, const std::string& since = kLastHour);

/// What the history calls a port named at the command line.
std::string PortLabelOf(const std::string& port);

/// One of the names of a table, as the value of an option; BadValue lists them.
template <class Table>
const auto& RowNamed(const Table& table, const std::string& name) {
    std::string names;
    for (const auto& row : table) {
        if (name == row.Name) return row;
        names += (names.empty() ? "" : ", ") + std::string(row.Name);
    }
    throw BadValue("'" + name + "' is not one of " + names);
}

/// The names of a table as help and completion show them.
template <class Table>
std::string ChoiceOf(const Table& table) {
    std::string names;
    for (const auto& row : table)
        names += (names.empty() ? "" : ",") + std::string(row.Name);
    return "TEXT:{" + names + "}";
}

}  // namespace orvix::station
