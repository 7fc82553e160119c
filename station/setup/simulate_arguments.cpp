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

}  // namespace

Command SimulateCommand() {
    const auto options = std::make_shared<SimulateOptions>();
    std::vector<Argument> arguments{
        PathOf("--link", "PATH", "give the port this name as well", options->Link),
        {.Name = kDevice,
         .Type = "A:M[=VALUE]",
         .Help = "5:sensor=21.5, 6:sensor=ramp:20:30:60s or 7:digital=5; repeatable",
         .Take = [options](const Value& v) { options->Devices.push_back(simulator::ParseSimulatedDevice(v.Text())); },
         .IsRequired = true,
         .IsRepeatable = true},
        WholeOf("--baud", "pace bytes as a line of this speed does", 50, 4'000'000, options->Baud),
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
    return {"simulate", "a simulated bus on a pseudo-terminal", std::move(arguments), [options] {
                CheckFaults(*options);
                return *options;
            }};
}

}  // namespace orvix::station
