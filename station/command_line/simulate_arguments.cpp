#include <memory>

#include "simulator/device_arguments.h"
#include "station/command_line/arguments.h"

namespace orvix::station {
namespace {

struct RawSimulateOptions {
    SimulateOptions Parsed;
    std::vector<std::string> Devices;
    std::vector<std::string> Faults;
};

SimulateOptions ReadSimulate(RawSimulateOptions raw) {
    for (const auto& text : raw.Devices)
        raw.Parsed.Devices.push_back(simulator::ParseSimulatedDevice(text));
    for (const auto& text : raw.Faults) {
        raw.Parsed.Faults.push_back(simulator::ParseFault(text));
        if (raw.Parsed.Faults.back().Kind == simulator::FaultKind::Unplug && raw.Parsed.Link.empty()) {
            throw UsageError("fault '" + text +
                             "' needs --link PATH: without it the port comes back under another name");
        }
    }
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
    command
        ->add_option("--fault", raw->Faults,
                     "what goes wrong, and how often: drop@5:rate=10%, delay@7:by=80ms, corrupt:nth=3 or "
                     "unplug:after=10s:for=3s:every=1m; kinds: " +
                         simulator::FaultKindNames() + "; repeatable")
        ->type_name("KIND[@A][:...]")
        ->allow_extra_args(false)
        ->take_all();
    command->add_option("--seed", raw->Parsed.Seed, "another seed spoils other requests at the same rates")
        ->type_name("N")
        ->capture_default_str();
    command->callback([raw, &result] { result = ReadSimulate(*raw); });
}

}  // namespace orvix::station
