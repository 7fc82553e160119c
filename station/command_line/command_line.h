#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "simulator/simulated_bus.h"
#include "station/bus/bus.h"
#include "station/history/history_format.h"
#include "station/run/station_setup.h"

namespace orvix::station {

/// What people do wrong at the command line; one sentence.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What people call the port of a bus that is simulated.
inline constexpr char kSimulatedPort[] = "simulated";

/// A port and the devices named for it.
struct PortOptions {
    std::optional<std::string> Path;  ///< absolute; none: a simulated bus
    std::vector<DeviceSetup> Devices;
};

/// Options of every command that uses a bus.
struct BusOptions {
    std::vector<PortOptions> Ports;  ///< at least one
    std::string Data;                ///< empty: the user's data folder
    std::int32_t Retries = 3;
    std::int32_t TimeoutFactor = 10;
    bool Json = false;
    bool Verbose = false;
    bool Debug = false;
    bool DriverThread = false;
    bool Trace = false;
};

struct RunOptions {
    BusOptions Bus;
    HistorySetup History;
    std::chrono::milliseconds Every{1000};
    std::optional<std::chrono::milliseconds> For;
    std::string Record;  ///< file to keep what happens on the lines in, absolute path; empty: none
};

struct ReadOptions {
    BusOptions Bus;
    ORVIXCNB1_VARS Variable = ORVIXCNB1_VAR_NONE;
};

struct ExportOptions {
    BusOptions Bus;
    std::string From;  ///< absolute path of a saved device file; empty: a device on the bus
    ExportTarget Target;
};

struct HistoryOptions {
    HistoryQuery Query;
    HistoryFormat Format = HistoryFormat::Table;
    bool Summary = false;
    std::string Data;  ///< empty: the user's data folder
};

/// A period of the history, to be written to a file.
struct HistoryExportOptions {
    HistoryQuery Query;
    bool Pdf = false;  ///< else CSV
    std::string File;  ///< absolute
    std::string Data;  ///< empty: the user's data folder
};

struct SimulateOptions {
    std::string Link;  ///< empty: none
    std::vector<simulator::SimulatedDevice> Devices;
    int Baud = 0;  ///< 0: no pacing
    std::vector<simulator::Fault> Faults;
    std::uint64_t Seed = 1;
};

struct ReplayOptions {
    std::string File;   ///< absolute path
    bool Fast = false;  ///< as fast as possible, not in real time
    bool Json = false;
};

struct TraceOptions {
    bool Json = false;
};

/// A text to show instead of running a command: help or version.
struct TextOptions {
    std::string Text;
};

/// What the command line asks for: one command.
using CommandLine = std::variant<TextOptions, RunOptions, ReadOptions, ExportOptions, HistoryOptions,
                                 HistoryExportOptions, SimulateOptions, TraceOptions, ReplayOptions>;

/// Without a command the command is run. Raises UsageError.
CommandLine ParseCommandLine(std::vector<std::string> arguments);

}  // namespace orvix::station
