#include <iostream>

#include "station/commands/commands.h"
#include "station/setup/configuration.h"
#include "station/sink/alarm_program/program_check.h"
#include "station/words/quantity_text.h"

namespace orvix::station {

int Execute(const ConfigCheckOptions& options, MainLoop&) {
    try {
        const auto setup = LoadConfiguration(options.File);
        if (const auto problem = ProblemOfCommand(setup.OnAlarm)) {
            throw ConfigurationError({options.File + ": alarms.on_alarm: " + *problem});
        }
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
