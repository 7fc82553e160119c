#include <iostream>

#include "station/commands/commands.h"
#include "station/setup/configuration.h"

namespace orvix::station {
namespace {

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

}  // namespace

int Execute(const ConfigCheckOptions& options, MainLoop&) {
    try {
        const auto setup = LoadConfiguration(options.File);
        std::size_t devices = 0;
        for (const auto& bus : setup.Buses)
            devices += bus.Devices.size();
        std::cout << options.File << ": " << Counted(setup.Buses.size(), "bus", "buses") << ", "
                  << Counted(devices, "device", "devices") << std::endl;
        return kDone;
    } catch (const ConfigurationError& error) {
        std::cerr << error.what() << std::endl;
        return kFailed;
    }
}

}  // namespace orvix::station
