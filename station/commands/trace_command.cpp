#include "platform/trace_socket.h"
#include "station/commands/commands.h"
#include "station/commands/live_output.h"
#include "station/model/trace_line.h"

namespace orvix::station {

int Execute(const TraceOptions& options, MainLoop& loop) {
    LiveOutput output(loop, options.Json);
    // A viewer that stops reading stops the stations, so that lines are dropped on the way out only.
    platform::TraceListener listener(platform::TraceFolder());
    const auto watch = loop.Apartment().Watch(listener.Descriptor(), POLLIN, [&](short) {
        const auto line = listener.Receive();
        const auto trace = line ? ParseTraceLine(*line) : std::nullopt;
        if (trace) output.Lines().Show(*trace);
    });
    output.Lines().Note("waiting for stations that start with --trace from now on; Ctrl-C ends");
    loop.Run();
    output.Finish();
    return kDone;
}

}  // namespace orvix::station
