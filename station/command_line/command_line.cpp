#include "station/command_line/command_line.h"

#include <algorithm>

#include "simulator/device_arguments.h"
#include "station/command_line/arguments.h"
#include "station/model/version.h"

namespace orvix::station {
namespace {

constexpr char kDefaultCommand[] = "run";

struct Command {
    const char* Name;
    void (*Add)(CLI::App& app, CommandLine& result);
};

// In the order in which help shows them.
constexpr Command kCommands[] = {
    {kDefaultCommand, AddRun}, {"scan", AddScan},       {"devices", AddDevices}, {"read", AddRead},
    {"health", AddHealth},     {"history", AddHistory}, {"alarms", AddAlarms},   {"export", AddExport},
    {"record", AddRecord},     {"replay", AddReplay},   {"config", AddConfig},   {"simulate", AddSimulate},
    {"trace", AddTrace},
};

bool NeedsDefaultCommand(const std::vector<std::string>& arguments) {
    const auto begins = [&](const char* text) { return !arguments.empty() && arguments[0] == text; };
    if (begins("--help") || begins("-h") || begins("--help-all") || begins("--version")) return false;
    return std::none_of(std::begin(kCommands), std::end(kCommands),
                        [&](const Command& command) { return begins(command.Name); });
}

}  // namespace

CommandLine ParseCommandLine(std::vector<std::string> arguments) {
    if (NeedsDefaultCommand(arguments)) {
        if (!arguments.empty() && !arguments[0].starts_with('-')) throw UsageError("unknown command " + arguments[0]);
        arguments.insert(arguments.begin(), kDefaultCommand);
    }

    CLI::App app("Station for Nimbo1 temperature sensors and digital-input modules on a serial bus.", "nimbo1");
    app.set_version_flag("--version", std::string("nimbo1 ") + kVersion);
    app.require_subcommand(1);
    CommandLine result;
    for (const auto& command : kCommands)
        command.Add(app, result);
    // Last, since commands take over the help options that are there when they are added.
    app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
    try {
        std::reverse(arguments.begin(), arguments.end());
        app.parse(arguments);
    } catch (const CLI::CallForHelp&) {
        return TextOptions{app.help()};
    } catch (const CLI::CallForAllHelp&) {
        return TextOptions{app.help("", CLI::AppFormatMode::All)};
    } catch (const CLI::CallForVersion&) {
        return TextOptions{std::string("nimbo1 ") + kVersion + "\n"};
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    } catch (const simulator::ArgumentError& error) {
        throw UsageError(error.what());
    }
    return result;
}

}  // namespace orvix::station
