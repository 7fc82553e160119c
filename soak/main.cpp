#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <random>

#include "host/error.h"
#include "soak/parts.h"

int main(int argc, char** argv) {
    double hours = 24;
    double minutes = 1;
    std::uint64_t events = 500000;
    std::uint32_t seed = std::random_device()();
    CLI::App app("Runs adapter, driver and devices on a faulty line and counts what comes of it.");
    app.add_option("--virtual", hours, "hours in virtual time")->check(CLI::Range(0.0, 10000.0));
    app.add_option("--real", minutes, "minutes in real time, over pseudo-terminals")->check(CLI::Range(0.0, 1440.0));
    app.add_option("--events", events, "of the random model of adapter and driver, each way of placing the driver");
    app.add_option("--seed", seed, "of faults and requests; one is chosen without it");
    CLI11_PARSE(app, argc, argv);

    using namespace orvix::soak;
    std::vector<Part> parts;
    try {
        std::printf("seed %u: %g hours in virtual time, %llu events, %g minutes in real time\n", seed, hours,
                    static_cast<unsigned long long>(events), minutes);
        // An hour of virtual time takes seconds, as do 100,000 events: a soak that hangs is ended by the system.
        alarm(static_cast<unsigned>(300 + hours * 60 + static_cast<double>(events) / 2000 + minutes * 60));
        const std::chrono::minutes virtualTime(std::lround(hours * 60));
        const std::chrono::seconds realTime(std::lround(minutes * 60));
        if (virtualTime.count() > 0) {
            parts.push_back(RunVirtual(virtualTime, false, seed));
            parts.push_back(RunVirtual(virtualTime, true, seed));
        }
        if (events > 0) {
            parts.push_back(RunModel(events, false, seed));
            parts.push_back(RunModel(events, true, seed));
        }
        if (realTime.count() > 0) parts.push_back(RunReal(realTime, seed));
    } catch (...) {
        std::fprintf(stderr, "soak: %s\n", orvix::CurrentError().Description.c_str());
        return 1;
    }
    return Report(parts) ? 0 : 1;
}
