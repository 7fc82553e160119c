#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "simulator/pseudo_terminal.h"
#include "simulator/simulated_bus.h"

namespace orvix::simulator {

/// How the port of a simulated bus is plugged.
struct Plugging {
    std::string Link;            ///< further name of the port, also when it has come back; empty: none
    std::vector<Fault> Unplugs;  ///< faults of another kind are passed over
    /// Told when the port goes or comes back, or why it does not come back; called on the server's thread.
    std::function<void(const std::string& text)> Tell;
};

/// A simulated bus behind a pseudo-terminal, on a thread of its own from construction to destruction.
class BusServer {
public:
    /// `baud` above 0 paces bytes as a line of that speed does (8N1); 0 answers at once.
    BusServer(SimulatedBus bus, int baud, Plugging plugging = {});
    ~BusServer();
    BusServer(const BusServer&) = delete;
    BusServer& operator=(const BusServer&) = delete;

    /// Those that are on the line from now on. Raises ArgumentError when two have the same address.
    void Devices(const std::vector<SimulatedDevice>& devices);
    /// For a port that is never unplugged.
    PseudoTerminal& Terminal() { return *m_Terminal; }

private:
    void Serve();
    bool IsUnplugged(Time now) const;
    /// Takes the port away or brings it back when it is time.
    void PlugAsDue(Time now);
    void PlugIn();
    void Tell(const std::string& text);
    /// Waits for bytes, or until the next paced byte is due.
    void Wait(Time now);
    void TakeRequests(Time now);
    void SendWhatIsDue(Time now);
    Time Now() const;

    Plugging m_Plugging;
    std::string m_LastTold;
    std::optional<PseudoTerminal> m_Terminal;  ///< none while unplugged
    std::mutex m_Mutex;                        ///< guards the bus
    SimulatedBus m_Bus;
    Time m_ByteTime;
    Time m_Started;
    /// Bytes on their way, with the time at which they are through.
    std::multimap<Time, char> m_Sending;
    Time m_LineFreeAt{0};
    int m_StopEvent = -1;
    std::atomic<bool> m_Stop{false};
    std::thread m_Thread;
};

}  // namespace orvix::simulator
