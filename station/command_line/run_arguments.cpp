#include <memory>

#include "simulator/device_arguments.h"
#include "station/command_line/arguments.h"
#include "station/health/metrics.h"

namespace orvix::station {
namespace {

constexpr std::chrono::milliseconds kShortestPeriod{100};

struct RawRunOptions {
    RawBusOptions Bus;
    std::string Every = "1s";
    std::string For;
    std::string Metrics;
    bool NoHistory = false;
};

RunOptions ReadRun(const RawRunOptions& raw, const CLI::App& command) {
    RunOptions options{.Bus = ReadBusOptions(raw.Bus, command),
                       .History = {},
                       .Every = simulator::ParseDuration(raw.Every),
                       .For = {},
                       .Metrics = raw.Metrics};
    options.History.On = !raw.NoHistory;
    if (options.Every < kShortestPeriod) throw UsageError("--every " + raw.Every + ": the shortest period is 100ms");
    if (!raw.For.empty()) options.For = simulator::ParseDuration(raw.For);
    if (!raw.Metrics.empty() && !IsMetricsAddress(raw.Metrics)) {
        throw UsageError("--metrics " + raw.Metrics + ": write a numeric address and a port, such as 127.0.0.1:9400");
    }
    for (const auto& port : options.Bus.Ports) {
        if (port.Path && port.Devices.empty()) {
            throw UsageError("no device named for " + *port.Path +
                             ": add --device ADDRESS:MODEL, such as --device 5:sensor");
        }
    }
    return options;
}

}  // namespace

void AddRun(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("run", "go online and print each reading (the default command)");
    const auto raw = std::make_shared<RawRunOptions>();
    AddBusOptions(*command, raw->Bus);
    command->add_option("--every", raw->Every, "polling period")->type_name("TIME")->capture_default_str();
    command->add_option("--for", raw->For, "stop after this time")->type_name("TIME");
    command->add_option("--metrics", raw->Metrics, "offer metrics to Prometheus at http://ADDRESS:PORT/metrics")
        ->type_name("ADDRESS:PORT");
    command->add_flag("--no-history", raw->NoHistory, "do not record the readings");
    command->callback([raw, command, &result] { result = ReadRun(*raw, *command); });
}

}  // namespace orvix::station
