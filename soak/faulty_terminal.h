#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "simulator/pseudo_terminal.h"
#include "soak/faulty_devices.h"

namespace orvix::soak {

/// Faulty devices behind a pseudo-terminal, on a thread of its own from construction to destruction. When the line
/// hangs up the terminal goes, and comes back as another under the same name.
class FaultyTerminal {
public:
    FaultyTerminal(std::string link, std::uint32_t seed, Counts& counts);
    ~FaultyTerminal();
    FaultyTerminal(const FaultyTerminal&) = delete;
    FaultyTerminal& operator=(const FaultyTerminal&) = delete;

private:
    void Serve();
    void PlugIn();
    void TakeRequests(Duration now);
    void SendWhatIsDue(Duration now);

    std::string m_Link;
    FaultyDevices m_Devices;
    std::unique_ptr<simulator::PseudoTerminal> m_Terminal;
    std::string m_Received;
    std::multimap<Duration, tests::Chunk> m_Sending;  ///< by the time at which it is due
    Duration m_Gone{0};                               ///< after the hang-up that is being sent
    Duration m_BackAt{0};
    std::atomic<bool> m_Stop{false};
    std::thread m_Thread;
};

}  // namespace orvix::soak
