#include <iostream>

#include "station/commands/commands.h"
#include "station/setup/configuration.h"
#include "station/words/quantity_text.h"

namespace orvix::station {

int Execute(const ConfigCheckOptions& options, MainLoop&) {
    try {
        const auto setup = LoadConfiguration(options.File);
        std::size_t devices = 0;
        for (const auto& bus : setup.Buses)
            devices += bus.Devices.size();
        std::cout << options.File << ": " << Counted(setup.Buses.size(), "bus", "buses") << ", "
                  << Counted(devices, "device") << std::endl;
        return kDone;
    } catch (const ConfigurationError& error) {
        std::cerr << error.what() << std::endl;
        return kFailed;
    }
}

}  // namespace orvix::station
