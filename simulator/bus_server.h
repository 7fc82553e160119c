#pragma once

#include <atomic>
#include <deque>
#include <string>
#include <thread>
#include <utility>

#include "simulator/pseudo_terminal.h"
#include "simulator/simulated_bus.h"

namespace orvix::simulator {

/// A simulated bus behind a pseudo-terminal, on a thread of its own from construction to destruction.
class BusServer {
public:
    /// `baud` above 0 paces bytes as a line of that speed does (8N1); 0 answers at once.
    BusServer(SimulatedBus bus, int baud);
    ~BusServer();
    BusServer(const BusServer&) = delete;
    BusServer& operator=(const BusServer&) = delete;

    PseudoTerminal& Terminal() { return m_Terminal; }

private:
    void Serve();
    /// Waits for bytes, or until the next paced byte is due.
    void Wait(Time now);
    void TakeRequests(Time now);
    void SendWhatIsDue(Time now);
    Time Now() const;

    PseudoTerminal m_Terminal;
    SimulatedBus m_Bus;
    Time m_ByteTime;
    Time m_Started;
    /// Bytes on their way, with the time at which they are through.
    std::deque<std::pair<Time, char>> m_Sending;
    Time m_LineFreeAt{0};
    int m_StopEvent;
    std::atomic<bool> m_Stop{false};
    std::thread m_Thread;
};

}  // namespace orvix::simulator
