#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include "simulator/device_arguments.h"
#include "station/commands/commands.h"
#include "station/run/harmless_stream.h"

namespace {

using namespace orvix::station;

int Run(const CommandLine& commandLine) {
    MainLoop loop;
    return std::visit([&](const auto& options) { return Execute(options, loop); }, commandLine);
}

/// A standard stream that is closed would lend its number to the first file or line opened, which then got the
/// readings.
void OccupyStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) ::open("/dev/null", O_RDONLY);
    }
}

/// A reader that has seen enough, such as `head`, is no failure.
bool OutputIsWhole() {
    if (std::cout.flush()) return true;
    pollfd output{STDOUT_FILENO, 0, 0};
    return ::poll(&output, 1, 0) == 1 && (output.revents & (POLLERR | POLLHUP)) != 0;
}

int Fail(const std::exception& error, int status) {
    std::cerr << "nimbo1: " << error.what() << std::endl;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    OccupyStandardStreams();
    const HarmlessStream out(std::cout);
    const HarmlessStream err(std::cerr);
    try {
        const int status = Run(ParseCommandLine({argv + 1, argv + argc}));
        if (!OutputIsWhole()) throw std::runtime_error("standard output cannot be written");
        return status;
    } catch (const UsageError& error) {
        return Fail(error, kWrongUsage);
    } catch (const orvix::simulator::ArgumentError& error) {
        return Fail(error, kWrongUsage);
    } catch (const std::exception& error) {
        return Fail(error, kFailed);
    }
}
