#include <memory>

#include "station/command_line/arguments.h"

namespace orvix::station {

void AddConfig(CLI::App& app, CommandLine& result) {
    auto* config = app.add_subcommand("config", "work with a configuration file");
    config->require_subcommand(1);
    auto* check = config->add_subcommand("check", "say what is wrong with a configuration file, or what it holds");
    const auto options = std::make_shared<ConfigCheckOptions>();
    AddPath(*check, "file", options->File, "FILE", "the configuration file")->required();
    check->callback([options, &result] { result = *options; });
}

}  // namespace orvix::station
