#include <iostream>

#include "station/commands.h"

namespace {

using namespace orvix::station;

int Execute(const CommandLine& commandLine) {
    if (!commandLine.Text.empty()) {
        std::cout << commandLine.Text;
        return kDone;
    }
    MainLoop loop;
    if (commandLine.Read) return ReadCommand(*commandLine.Read, loop);
    if (commandLine.Export) return ExportCommand(*commandLine.Export, loop);
    if (commandLine.Simulate) return SimulateCommand(*commandLine.Simulate, loop);
    if (commandLine.Trace) return TraceCommand(*commandLine.Trace, loop);
    return RunCommand(*commandLine.Run, loop);
}

int Fail(const std::exception& error, int status) {
    std::cerr << "nimbo1: " << error.what() << std::endl;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Execute(ParseCommandLine({argv + 1, argv + argc}));
    } catch (const UsageError& error) {
        return Fail(error, kWrongUsage);
    } catch (const std::exception& error) {
        return Fail(error, kFailed);
    }
}
