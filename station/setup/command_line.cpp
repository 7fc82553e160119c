#include "station/setup/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <vector>

#include "simulator/device_arguments.h"
#include "station/model/version.h"
#include "station/setup/arguments.h"
#include "station/setup/nearest_name.h"

// The only source that knows the parser: its header alone takes ten seconds to compile.

namespace orvix::station {
namespace {

constexpr char kDefaultCommand[] = "run";

// In the order in which help shows them.
std::vector<Command> AllCommands() {
    return {RunCommand(),     ScanCommand(),    DevicesCommand(),  ReadCommand(),   ValuesCommand(), HealthCommand(),
            HistoryCommand(), AlarmsCommand(),  ExportCommand(),   RecordCommand(), ReplayCommand(), ConfigCommand(),
            MqttCommand(),    CollectCommand(), SimulateCommand(), TraceCommand()};
}

bool NeedsDefaultCommand(const std::vector<std::string>& arguments, const std::vector<Command>& commands) {
    const auto begins = [&](const std::string& text) { return !arguments.empty() && arguments[0] == text; };
    if (begins("--help") || begins("-h") || begins("--help-all") || begins("--version")) return false;
    return std::none_of(commands.begin(), commands.end(), [&](const Command& command) { return begins(command.Name); });
}

UsageError UnknownCommand(const std::string& name, const std::vector<Command>& commands) {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const auto& command : commands)
        names.push_back(command.Name);
    const auto nearest = NearestName(name, names);
    return UsageError("unknown command " + name +
                      (nearest.empty() ? "; nimbo1 --help lists them" : "; did you mean " + nearest + "?"));
}

using Rows = std::map<const CLI::Option*, const Argument*>;

CLI::Option* AddUnchecked(CLI::App& app, const Argument& row) {
    if (row.Type.empty()) return app.add_flag(row.Name, row.Help);
    // The value is taken later, by its row.
    const auto keep = [](const CLI::results_t&) { return true; };
    auto* option = app.add_option(row.Name, keep, row.Help)->type_name(row.Type)->type_size(1)->expected(1);
    return row.IsRepeatable ? option->take_all() : option;
}

const CLI::Option* AddArgument(CLI::App& app, const Argument& row) {
    auto* option = AddUnchecked(app, row)->required(row.IsRequired);
    for (const auto& other : row.Excludes)
        option->excludes(other);
    return option;
}

/// Gives each row its values, in the order in which they stand.
void TakeValues(const CLI::App& app, const Rows& rows) {
    std::map<const CLI::Option*, std::size_t> taken;
    for (const auto* option : app.parse_order()) {
        const auto row = rows.find(option);
        if (row == rows.end()) continue;
        try {
            row->second->Take(TypedValue(option->results().at(taken[option]++)));
        } catch (const BadValue& bad) {
            throw UsageError(option->get_name() + ": " + bad.what());
        }
    }
}

void AddCommand(CLI::App& parent, const Command& command, CommandLine& result) {
    auto* app = parent.add_subcommand(command.Name, command.Help);
    Rows rows;
    for (const auto& row : command.Arguments)
        rows.emplace(AddArgument(*app, row), &row);
    for (const auto& inside : command.Inside)
        AddCommand(*app, inside, result);
    if (!command.Inside.empty()) app->require_subcommand(command.Finish ? 0 : 1, 1);
    app->callback([app, rows, &command, &result] {
        // The callback of a command comes after that of a command inside it, which does not see the options before it.
        if (const auto inside = app->get_subcommands(); !inside.empty()) {
            const auto lost = app->parse_order();
            if (lost.empty()) return;
            throw UsageError("write " + lost.front()->get_name() + " after " + inside.front()->get_name());
        }
        TakeValues(*app, rows);
        result = command.Finish();
    });
}

}  // namespace

CommandLine ParseCommandLine(std::vector<std::string> arguments) {
    const auto commands = AllCommands();
    if (NeedsDefaultCommand(arguments, commands)) {
        if (!arguments.empty() && !arguments[0].starts_with('-')) throw UnknownCommand(arguments[0], commands);
        arguments.insert(arguments.begin(), kDefaultCommand);
    }

    CLI::App app("Station for Nimbo1 temperature sensors and digital-input modules on a serial bus.", "nimbo1");
    app.set_version_flag("--version", VersionText());
    app.require_subcommand(1);
    CommandLine result;
    for (const auto& command : commands)
        AddCommand(app, command, result);
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
        return TextOptions{VersionText()};
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    } catch (const simulator::ArgumentError& error) {
        throw UsageError(error.what());
    }
    return result;
}

}  // namespace orvix::station
