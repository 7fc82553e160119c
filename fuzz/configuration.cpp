// A configuration file.

#include "station/setup/configuration.h"
#include "devices/protocol/device_models.h"
#include "fuzz/support/require.h"

namespace orvix::fuzz {
namespace {

void CheckSetup(const station::StationSetup& setup) {
    for (const auto& bus : setup.Buses) {
        Require(bus.Every.count() >= 100 && bus.Retries >= 0 && bus.TimeoutFactor > 0, "a bus is within its ranges");
        for (const auto& device : bus.Devices) {
            Require(device.Address >= 1 && device.Address <= 255, "an address is from 1 to 255");
            Require(FindDeviceModel(device.Model) != nullptr, "a model is known");
            Require(device.Limits.HoldOff >= 1, "a hold-off is a reading at least");
        }
    }
    Require(setup.History.Keep.count() > 0 && setup.History.MostBytes > 0, "the history keeps something");
}

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        orvix::fuzz::CheckSetup(orvix::station::ParseConfiguration(text, "f"));
    } catch (const orvix::station::ConfigurationError& error) {
        orvix::fuzz::Require(!error.Lines().empty(), "what is wrong is told");
        for (const auto& line : error.Lines())
            orvix::fuzz::Require(line.starts_with("f:") || line.starts_with("f "), "a complaint names its file");
    }
    return 0;
}
