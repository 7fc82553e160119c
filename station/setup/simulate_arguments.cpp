#include <limits>

#include "simulator/device_arguments.h"
#include "station/setup/arguments.h"

namespace orvix::station {
namespace {

void CheckFaults(const SimulateOptions& options) {
    for (const auto& fault : options.Faults) {
        if (fault.Kind == simulator::FaultKind::Unplug && options.Link.empty()) {
            throw UsageError("fault 'unplug' needs --link PATH: without it the port comes back under another name");
        }
    }
}

constexpr int kMostStations = 1000;
constexpr int kMostDevices = 255;

/// A fleet instead of one bus.
struct Rehearsal {
    RehearsalOptions Options;
    Said<StationSetup> OfStation;
    bool IsRefined = false;  ///< something was said that is of use with a fleet alone

    RehearsalOptions Finish() {
        StationSetup setup;
        Apply(OfStation, setup);
        Options.Mqtt = setup.Mqtt;
        if (!Options.Mqtt.IsOn()) throw UsageError("--stations needs --mqtt URL, where they report to");
        return Options;
    }
};

std::vector<Argument> RehearsalArguments(const std::shared_ptr<Rehearsal>& rehearsal) {
    auto& options = rehearsal->Options;
    auto stations = WholeOf("--stations", "instead of a bus, as many stations without lines, which report to a broker",
                            1, kMostStations, options.Stations);
    stations.Excludes = {"--link", kDevice, "--baud", "--fault", "--seed"};
    std::vector<Argument> arguments{
        std::move(stations),
        WholeOf("--devices", "of each station [10]", 1, kMostDevices, options.Devices),
        {.Name = "--every",
         .Type = "TIME",
         .Help = "their polling period [1s]",
         .Take =
             [&options](const Value& value) { options.Every = value.Span(kShortestPeriod, std::chrono::hours(24)); }},
        StationOption("--mqtt", rehearsal->OfStation)};
    for (auto argument = arguments.begin() + 1; argument != arguments.end(); ++argument) {
        argument->Take = [rehearsal = rehearsal.get(), take = argument->Take](const Value& value) {
            rehearsal->IsRefined = true;
            take(value);
        };
    }
    return arguments;
}

}  // namespace

Command SimulateCommand() {
    const auto options = std::make_shared<SimulateOptions>();
    const auto rehearsal = std::make_shared<Rehearsal>();
    std::vector<Argument> arguments{
        PathOf("--link", "PATH", "give the port this second name", options->Link),
        {.Name = kDevice,
         .Type = "A:M[=VALUE]",
         .Help = "5:sensor=21.5, 6:sensor=ramp:20:30:60s or 7:digital=5; repeatable",
         .Take = [options](const Value& v) { options->Devices.push_back(simulator::ParseSimulatedDevice(v.Text())); },
         .IsRepeatable = true},
        WholeOf("--baud", "pace the bytes like a line of this speed", 50, 4'000'000, options->Baud),
        {.Name = "--fault",
         .Type = "KIND[@A][:...]",
         .Help = "what goes wrong, and how often: drop@5:rate=10%, delay@7:by=80ms, corrupt:nth=3 or "
                 "unplug:after=10s:for=3s:every=1m; kinds: " +
                 simulator::FaultKindNames() + "; repeatable",
         .Take = [options](const Value& value) { options->Faults.push_back(simulator::ParseFault(value.Text())); },
         .IsRepeatable = true},
        {.Name = "--seed",
         .Type = "N",
         .Help = "another seed spoils other requests at the same rates [1]",
         .Take = [options](const Value& value) {
             options->Seed = static_cast<std::uint64_t>(value.Whole(0, std::numeric_limits<std::int64_t>::max()));
         }}};
    for (auto& argument : RehearsalArguments(rehearsal))
        arguments.push_back(std::move(argument));
    const auto finish = [options, rehearsal]() -> CommandLine {
        if (rehearsal->Options.Stations > 0) return rehearsal->Finish();
        if (rehearsal->IsRefined) throw UsageError("--devices, --every and --mqtt need --stations N");
        if (options->Devices.empty()) throw UsageError("name a --device, or a fleet with --stations");
        CheckFaults(*options);
        return *options;
    };
    return {"simulate", "simulate a bus on a pseudo-terminal, or a fleet of stations", std::move(arguments), finish};
}

}  // namespace orvix::station
