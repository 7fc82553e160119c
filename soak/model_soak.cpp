#include <cstdio>

#include "soak/model/random_model.h"
#include "soak/parts.h"

namespace orvix::soak {

Part RunModel(std::uint64_t events, bool driverApart, std::uint32_t seed) {
    Part part{.Name = driverApart ? "model, 2 threads" : "model", .Buses = {{}}, .WarmedUp = {}, .Over = {}};
    RandomModel model(driverApart ? tests::Placement::ApartmentOfItsOwn : tests::Placement::HostsApartment, seed);
    model.Run(events / 5);
    part.WarmedUp = Footprint::Now();
    model.Run(events);
    part.Over = Footprint::Now();
    const ModelCounts& counts = model.Counts();
    Counts& bus = part.Buses.front();
    bus.Events = counts.Events;
    bus.Tasks = counts.Tasks;
    bus.Readings = counts.Succeeded;
    bus.Broken = counts.Violations;
    for (const auto& first : counts.FirstViolations)
        std::fprintf(stderr, "%s, seed %u, %s\n", part.Name.c_str(), seed, first.c_str());
    return part;
}

}  // namespace orvix::soak
