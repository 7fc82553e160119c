// The arguments of the program.
//
// Input: one argument a line.

#include "station/setup/command_line.h"
#include "fuzz/support/input.h"
#include "fuzz/support/require.h"

namespace orvix::fuzz {
namespace {

struct Check {
    void operator()(const station::TextOptions& options) const {
        Require(!options.Text.empty(), "a text says something");
    }
    void operator()(const station::RunOptions& options) const {
        Require(!options.For || options.For->count() > 0, "a time is above zero");
        station::StationSetup setup;
        Apply(options.OfStation, setup);
        CheckBus(options.Bus);
    }
    void operator()(const station::ReadOptions& options) const {
        Require(options.Variable != ORVIXCNB1_VAR_NONE, "a variable is named");
        CheckBus(options.Bus);
    }
    void operator()(const station::ExportOptions& options) const {
        Require(options.Format != 0 && !options.File.empty(), "an export has a form and a file");
        CheckBus(options.Bus);
    }
    void operator()(const station::SimulateOptions& options) const {
        Require(!options.Devices.empty(), "a simulated bus has a device");
    }
    template <class Options>
    void operator()(const Options&) const {}

private:
    static void CheckBus(const station::BusOptions& bus) {
        Require(!bus.Ports.empty(), "there is a port");
        station::BusSetup setup;
        Apply(bus.OfBuses, setup);
        Require(setup.Retries >= 0 && setup.TimeoutFactor > 0 && setup.Every >= station::kShortestPeriod,
                "retries, time-out and period are in their ranges");
        for (const auto& port : bus.Ports) {
            for (const auto& device : port.Devices)
                Require(device.Address >= 1 && device.Address <= 255, "an address is from 1 to 255");
        }
    }
};

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using orvix::fuzz::Require;
    orvix::fuzz::Input input(data, size);
    std::vector<std::string> arguments;
    while (!input.Empty())
        arguments.push_back(input.Line());
    try {
        std::visit(orvix::fuzz::Check(), orvix::station::ParseCommandLine(arguments));
    } catch (const orvix::station::UsageError& error) {
        Require(*error.what() != '\0', "wrong usage is told");
    }
    return 0;
}
