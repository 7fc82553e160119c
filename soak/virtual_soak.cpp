#include "soak/parts.h"
#include "soak/soak_bus.h"

namespace orvix::soak {

namespace {

using namespace std::chrono_literals;

constexpr std::int32_t kTidyMs = 1000;

/// The apartment of an adapter or a driver, which throws away what a test would look at.
struct TidyHost {
    explicit TidyHost(tests::World& world, std::int32_t threadID) : Host(world, threadID) {
        Tidy->Rearm(kTidyMs, true);
    }

    tests::TestHost Host;
    std::unique_ptr<Timer> Tidy = Host.Apartment.CreateTimer([this] {
        Host.Line.Log.clear();
        Host.Reports.All.clear();
    });
};

}  // namespace

Part RunVirtual(std::chrono::minutes time, bool driverApart, std::uint32_t seed) {
    Part part{.Name = driverApart ? "virtual, 2 threads" : "virtual", .Buses = {{}}, .WarmedUp = {}, .Over = {}};
    Counts& counts = part.Buses.front();
    tests::World world;
    TidyHost host(world, 1);
    TidyHost other(world, 2);
    tests::TestHost& home = driverApart ? other.Host : host.Host;
    FaultyDevices devices(seed, counts);
    home.Line.Respond = [&](const std::string& request) {
        const Duration now = world.Scheduler.Now();
        Outcome outcome = devices.Answer(request, now);
        if (outcome.Gone > Duration::zero()) home.Line.MissingUntil = now + outcome.Gone;
        return std::move(outcome.Line);
    };
    {
        SoakBus bus(host.Host.Services, tests::DriverIn(home, host.Host), seed + 1, counts);
        world.Scheduler.RunFor(time / 5);
        part.WarmedUp = Footprint::Now();
        world.Scheduler.RunFor(time - time / 5);
        part.Over = Footprint::Now();
        bus.Finish();
    }
    world.Scheduler.RunFor(0ms);
    return part;
}

}  // namespace orvix::soak
