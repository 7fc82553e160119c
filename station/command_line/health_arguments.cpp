#include <memory>

#include "station/command_line/arguments.h"

namespace orvix::station {

void AddHealth(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("health", "how the running station's buses and devices are, and what to mend");
    const auto options = std::make_shared<HealthOptions>();
    AddDataOption(*command, options->Data);
    AddJsonFlag(*command, options->Json);
    command->callback([options, &result] { result = *options; });
}

}  // namespace orvix::station
