#include <memory>

#include "station/command_line/arguments.h"

namespace orvix::station {
namespace {

struct RawScanOptions {
    std::string Port;
    ScanOptions Parsed;
};

ScanOptions ReadScan(const RawScanOptions& raw) {
    auto options = raw.Parsed;
    if (options.Range.From > options.Range.To) {
        throw UsageError("--from " + std::to_string(options.Range.From) + " is behind --to " +
                         std::to_string(options.Range.To));
    }
    options.Bus.Ports = {{AbsolutePath(raw.Port), {}}};
    return options;
}

}  // namespace

void AddScan(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("scan", "find the devices on a bus; Ctrl-C ends it with what was found");
    const auto raw = std::make_shared<RawScanOptions>();
    auto& parsed = raw->Parsed;
    AddPath(*command, kPort, raw->Port, "PATH", "serial device")->required();
    command->add_option("--from", parsed.Range.From, "first address")->check(CLI::Range(1, 255))->capture_default_str();
    command->add_option("--to", parsed.Range.To, "last address")->check(CLI::Range(1, 255))->capture_default_str();
    command->add_flag("--remember", parsed.Remember, "keep what is found, for nimbo1 run on this port");
    AddDataOption(*command, parsed.Bus.Data);
    AddTimeoutFactorOption(*command, parsed.Bus.TimeoutFactor);
    AddJsonFlag(*command, parsed.Bus.Json);
    command->callback([raw, &result] { result = ReadScan(*raw); });
}

}  // namespace orvix::station
