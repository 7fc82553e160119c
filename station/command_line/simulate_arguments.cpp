#include <memory>

#include "simulator/device_arguments.h"
#include "station/command_line/arguments.h"

namespace orvix::station {
namespace {

struct RawSimulateOptions {
    SimulateOptions Parsed;
    std::vector<std::string> Devices;
};

SimulateOptions ReadSimulate(RawSimulateOptions raw) {
    for (const auto& text : raw.Devices)
        raw.Parsed.Devices.push_back(simulator::ParseSimulatedDevice(text));
    return raw.Parsed;
}

}  // namespace

void AddSimulate(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("simulate", "a simulated bus on a pseudo-terminal");
    const auto raw = std::make_shared<RawSimulateOptions>();
    AddPath(*command, "--link", raw->Parsed.Link, "PATH", "give the port this name as well");
    command->add_option("--device", raw->Devices, "5:sensor=21.5, 6:sensor=ramp:20:30:60s or 7:digital=5; repeatable")
        ->type_name("A:M[=VALUE]")
        ->allow_extra_args(false)
        ->take_all()
        ->required();
    command->add_option("--baud", raw->Parsed.Baud, "pace bytes as a line of this speed does")
        ->check(CLI::Range(50, 4'000'000));
    command->callback([raw, &result] { result = ReadSimulate(*raw); });
}

}  // namespace orvix::station
