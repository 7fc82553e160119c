#include <memory>

#include "station/command_line/arguments.h"

namespace orvix::station {

void AddReplay(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("replay", "play a recording back: the same readings and errors");
    const auto options = std::make_shared<ReplayOptions>();
    AddPath(*command, "file", options->File, "FILE", "what nimbo1 record has written")->required();
    command->add_flag("--fast", options->Fast, "as fast as possible instead of in real time");
    AddJsonFlag(*command, options->Json);
    command->callback([options, &result] {
        options->File = AbsolutePath(options->File);
        result = *options;
    });
}

}  // namespace orvix::station
