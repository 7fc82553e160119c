// The arguments of the program.
//
// Input: one argument a line.

#include "station/command_line.h"
#include "fuzz/support/input.h"
#include "fuzz/support/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvix::station;
    using orvix::fuzz::Require;
    orvix::fuzz::Input input(data, size);
    std::vector<std::string> arguments;
    while (!input.Empty())
        arguments.push_back(input.Line());
    try {
        const CommandLine line = ParseCommandLine(arguments);
        const int commands = int{line.Run.has_value()} + line.Read.has_value() + line.Export.has_value() +
                             line.Simulate.has_value() + line.Trace.has_value();
        Require(commands + (line.Text.empty() ? 0 : 1) == 1, "a command line is one command or a text");
    } catch (const UsageError& error) {
        Require(*error.what() != '\0', "wrong usage is told");
    }
    return 0;
}
