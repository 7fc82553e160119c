#include <memory>

#include "simulator/device_arguments.h"
#include "station/command_line/arguments.h"

namespace orvix::station {
namespace {

constexpr std::chrono::milliseconds kShortestPeriod{100};

struct RawRunOptions {
    RawBusOptions Bus;
    std::string Every = "1s";
    std::string For;
    std::string Record;
    bool NoHistory = false;
};

RunOptions ReadRun(const RawRunOptions& raw, const CLI::App& command) {
    RunOptions options{.Bus = ReadBusOptions(raw.Bus, command),
                       .History = {},
                       .Every = simulator::ParseDuration(raw.Every),
                       .For = {},
                       .Record = {}};
    options.History.On = !raw.NoHistory;
    if (options.Every < kShortestPeriod) throw UsageError("--every " + raw.Every + ": the shortest period is 100ms");
    if (!raw.Record.empty()) options.Record = AbsolutePath(raw.Record);
    if (!raw.For.empty()) options.For = simulator::ParseDuration(raw.For);
    for (const auto& port : options.Bus.Ports) {
        if (port.Path && port.Devices.empty()) {
            throw UsageError("no device named for " + *port.Path +
                             ": add --device ADDRESS:MODEL, such as --device 5:sensor");
        }
    }
    return options;
}

/// A command that goes online and prints each reading; it keeps a recording in the file that `recordOption` names.
void AddRunning(CLI::App& app, CommandLine& result, const char* name, const char* help, const char* recordOption) {
    auto* command = app.add_subcommand(name, help);
    const auto raw = std::make_shared<RawRunOptions>();
    auto* record = AddPath(*command, recordOption, raw->Record, "FILE",
                           "keep what happens on the lines in this new file, for nimbo1 replay");
    record->required(record->get_positional());
    AddBusOptions(*command, raw->Bus);
    command->add_option("--every", raw->Every, "polling period")->type_name("TIME")->capture_default_str();
    command->add_option("--for", raw->For, "stop after this time")->type_name("TIME");
    command->add_flag("--no-history", raw->NoHistory, "do not record the readings");
    command->callback([raw, command, &result] { result = ReadRun(*raw, *command); });
}

}  // namespace

void AddRun(CLI::App& app, CommandLine& result) {
    AddRunning(app, result, "run", "go online and print each reading (the default command)", "--record");
}

void AddRecord(CLI::App& app, CommandLine& result) {
    AddRunning(app, result, "record", "the same as run --record FILE", "file");
}

}  // namespace orvix::station
