#include <memory>

#include "simulator/device_arguments.h"
#include "station/command_line/arguments.h"
#include "station/model/metrics_address.h"

namespace orvix::station {
namespace {

struct RawRunOptions {
    RawBusOptions Bus;
    std::string Configuration;
    std::optional<std::string> Every;
    std::string For;
    bool Plain = false;
    bool Quiet = false;
    std::string Metrics;
    std::string Record;
    bool NoHistory = false;
};

RunOptions ReadRun(const RawRunOptions& raw, const CLI::App& command) {
    RunOptions options;
    options.Bus = ReadBusOptions(raw.Bus, command);
    // Read again later, when the data folder has become the current one.
    if (!raw.Configuration.empty()) options.Configuration = AbsolutePath(raw.Configuration);
    options.Plain = raw.Plain;
    options.Quiet = raw.Quiet;
    options.NoHistory = raw.NoHistory;
    options.Metrics = raw.Metrics;
    if (!raw.Record.empty()) options.Record = AbsolutePath(raw.Record);
    if (!raw.Metrics.empty() && !ParseMetricsAddress(raw.Metrics)) {
        throw UsageError("--metrics " + raw.Metrics + ": " + kMetricsAddressForm);
    }
    if (raw.Every) options.Every = simulator::ParseDuration(*raw.Every);
    if (options.Every && *options.Every < kShortestPeriod) {
        throw UsageError("--every " + *raw.Every + ": the shortest period is 100ms");
    }
    if (!raw.For.empty()) options.For = simulator::ParseDuration(raw.For);
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
    AddPath(*command, "--config", raw->Configuration, "FILE", "buses, devices and all else; options here win over it");
    command->add_option("--every", raw->Every, "polling period (1s)")->type_name("TIME");
    command->add_option("--for", raw->For, "stop after this time")->type_name("TIME");
    command->add_flag("--plain", raw->Plain, "lines instead of the live screen, also on a terminal");
    command->add_flag("-q,--quiet", raw->Quiet, "no readings, only what is out of the ordinary");
    command->add_option("--metrics", raw->Metrics, "offer metrics to Prometheus at http://ADDRESS:PORT/metrics")
        ->type_name("ADDRESS:PORT");
    command->add_flag("--no-history", raw->NoHistory, "do not record the readings");
    command->callback([raw, command, &result] { result = ReadRun(*raw, *command); });
}

}  // namespace

void AddRun(CLI::App& app, CommandLine& result) {
    AddRunning(app, result, "run",
               "go online and show the readings (the default command): live on a terminal, else one a line",
               "--record");
}

void AddRecord(CLI::App& app, CommandLine& result) {
    AddRunning(app, result, "record", "the same as run --record FILE", "file");
}

}  // namespace orvix::station
