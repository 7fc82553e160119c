#include <atomic>
#include <iostream>
#include <thread>

#include "platform/trace_socket.h"
#include "station/commands/commands.h"

namespace orvix::station {
namespace {

// Lines that wait for a standard output slower than the stations; what comes beyond is dropped and counted.
constexpr int kMostWaiting = 10'000;

/// Takes lines off the socket on a thread of its own, whatever standard output does: a viewer that stops reading stops
/// the stations.
class TraceReader {
public:
    TraceReader(MainLoop& loop, Output& output)
        : m_Loop(loop), m_Output(output), m_Listener(platform::TraceFolder()), m_Thread([this] { Read(); }) {}
    ~TraceReader() {
        m_Listener.Stop();
        m_Thread.join();
    }
    TraceReader(const TraceReader&) = delete;
    TraceReader& operator=(const TraceReader&) = delete;

private:
    void Read() {
        while (auto line = m_Listener.Receive()) {
            if (m_Waiting >= kMostWaiting) {
                ++m_Dropped;
                continue;
            }
            ++m_Waiting;
            m_Loop.Apartment().Post([this, line = std::move(*line)] { Show(line); });
        }
    }

    void Show(const std::string& line) {
        --m_Waiting;
        if (const auto trace = ParseTraceLine(line)) m_Output.Show(*trace);
        if (const int dropped = m_Dropped.exchange(0)) {
            m_Output.Note(std::to_string(dropped) + " lines came too fast and are not shown");
        }
        if (!std::cout) m_Loop.Stop();
    }

    MainLoop& m_Loop;
    Output& m_Output;
    platform::TraceListener m_Listener;
    std::atomic<int> m_Waiting{0};
    std::atomic<int> m_Dropped{0};
    std::thread m_Thread;
};

}  // namespace

int Execute(const TraceOptions& options, MainLoop& loop) {
    const auto output = OutputOf(options.Json);
    const TraceReader reader(loop, *output);
    output->Note("waiting for stations that start with --trace from now on; Ctrl-C ends");
    loop.Run();
    return kDone;
}

}  // namespace orvix::station
