#include <memory>

#include "station/command_line/arguments.h"

namespace orvix::station {
namespace {

constexpr char kTraceHelp[] =
    "show the trace lines of all your stations as they are made, until Ctrl-C. A station that runs with --trace looks "
    "for this viewer once, with its first line: start the viewer before the stations";

}  // namespace

void AddTrace(CLI::App& app, CommandLine& result) {
    auto* command = app.add_subcommand("trace", kTraceHelp);
    const auto options = std::make_shared<TraceOptions>();
    AddJsonFlag(*command, options->Json);
    command->callback([options, &result] { result = *options; });
}

}  // namespace orvix::station
