#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "simulator/simulated_bus.h"
#include "station/model/history_query.h"
#include "station/model/local_time.h"
#include "station/model/scan_range.h"
#include "station/setup/option.h"
#include "tasks/enumerations.h"

namespace orvix::station {

/// What people do wrong at the command line; one sentence.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A port and the devices named for it.
struct PortOptions {
    std::optional<std::string> Path;  ///< absolute; none: a simulated bus
    std::vector<DeviceSetup> Devices;
};

/// Options of every command that uses a bus.
struct BusOptions {
    std::vector<PortOptions> Ports{{}};  ///< at least one; each device is on the port before it
    bool HasEarlyDevices = false;        ///< devices of the first port stand before it
    std::string Data;                    ///< empty: the user's data folder
    Said<BusSetup> OfBuses;              ///< what is said of every bus
    bool Json = false;
    bool Verbose = false;
};

struct RunOptions {
    BusOptions Bus;
    std::string Configuration;     ///< its file, absolute path; empty: none
    Said<StationSetup> OfStation;  ///< what is said of the station
    std::optional<std::chrono::milliseconds> For;
    bool Plain = false;  ///< lines, also on a terminal
    bool Quiet = false;  ///< no readings, only what is out of the ordinary
    std::string Record;  ///< file to keep what happens on the lines in, absolute path; empty: none
};

struct ReadOptions {
    BusOptions Bus;
    ORVIXCNB1_VARS Variable = ORVIXCNB1_VAR_NONE;
};

struct ExportOptions {
    BusOptions Bus;
    std::string From;         ///< absolute path of a saved device file; empty: a device on the bus
    std::int32_t Format = 0;  ///< kFileFormatText, kFileFormatReport or kFileFormatDevice
    std::string File;         ///< absolute path, or "-" for standard output
};

struct HistoryOptions {
    HistoryQuery Query;
    HistoryFormat Format = HistoryFormat::Table;
    bool Summary = false;
    std::optional<CalendarSpan> By;  ///< figures of each minute, hour or day; none: single readings
    std::string Data;                ///< empty: the user's data folder
};

struct AlarmsOptions {
    HistoryQuery Query;
    std::string Acknowledged;  ///< id of the alarm that is; empty: they are listed
    std::string Comment;
    bool Json = false;
    std::string Data;  ///< empty: the user's data folder
};

/// A period of the history, to be written to a file.
struct HistoryExportOptions {
    HistoryQuery Query;
    bool Pdf = false;  ///< else CSV
    std::string File;  ///< absolute, or "-" for standard output
    std::string Data;  ///< empty: the user's data folder
};

struct SimulateOptions {
    std::string Link;  ///< empty: none
    std::vector<simulator::SimulatedDevice> Devices;
    int Baud = 0;  ///< 0: no pacing
    std::vector<simulator::Fault> Faults;
    std::uint64_t Seed = 1;
};

/// A fleet of stations without lines that report to a broker.
struct RehearsalOptions {
    int Stations = 0;
    int Devices = 10;  ///< of each
    std::chrono::milliseconds Every{1000};
    MqttSetup Mqtt;  ///< without a station's name
};

/// What is shown of the stations that report to a broker.
struct CollectOptions {
    std::string Configuration;     ///< its file, absolute path; empty: none
    Said<StationSetup> OfStation;  ///< what is said besides, and wins
    std::optional<std::chrono::milliseconds> For;
};

struct ReplayOptions {
    std::string File;   ///< absolute path
    bool Fast = false;  ///< as fast as possible, not in real time
    bool Json = false;
    std::string Record;  ///< file to keep what is played in, absolute path; empty: none
    std::string Data;    ///< where nimbo1 health finds it; empty: the user's data folder
};

struct TraceOptions {
    bool Json = false;
};

struct ScanOptions {
    BusOptions Bus;  ///< one port, no devices
    ScanRange Range;
    bool Remember = false;
};

/// What is to be done with the devices that are known.
struct DevicesOptions {
    enum class Action { List, Add, Rename, Remove };
    Action What = Action::List;
    std::string Data;                 ///< empty: the user's data folder
    std::optional<std::string> Port;  ///< absolute; none: all, which can only be listed
    DeviceSetup Device;               ///< of Rename the address and the name, of Remove the address
    bool Json = false;
};

struct ConfigCheckOptions {
    std::string File;
};

/// A broker to be tried.
struct MqttTestOptions {
    std::string Configuration;     ///< its file, absolute path; empty: none
    Said<StationSetup> OfStation;  ///< the broker, if it was said
    std::string Data;              ///< where the station's name is kept; empty: the user's data folder
    bool Json = false;
};

struct MqttStatusOptions {
    std::string Data;  ///< empty: the user's data folder
    bool Json = false;
};

struct HealthOptions {
    std::string Data;  ///< empty: the user's data folder
    bool Json = false;
    bool Quiet = false;  ///< the exit status alone tells whether a station is at work
    bool Watch = false;  ///< again and again, until the end
};

struct ValuesOptions {
    std::string Data;    ///< empty: the user's data folder
    std::string Port;    ///< what the bus is called; empty: any
    std::string Device;  ///< address, name or id; empty: any
    bool Json = false;
    bool Watch = false;  ///< go on with what comes
};

/// A text to show instead of running a command: help or version.
struct TextOptions {
    std::string Text;
};

/// What the command line asks for: one command.
using CommandLine =
    std::variant<TextOptions, RunOptions, ScanOptions, DevicesOptions, ReadOptions, ValuesOptions, HealthOptions,
                 HistoryOptions, AlarmsOptions, ExportOptions, HistoryExportOptions, ReplayOptions, ConfigCheckOptions,
                 MqttTestOptions, MqttStatusOptions, SimulateOptions, RehearsalOptions, CollectOptions, TraceOptions>;

/// Without a command the command is run. Raises UsageError.
CommandLine ParseCommandLine(std::vector<std::string> arguments);

}  // namespace orvix::station
