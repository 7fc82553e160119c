#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "simulator/pseudo_terminal.h"

namespace orvix::tests {

/// A line on a real pseudo-terminal that answers as a test says, well or badly, in two pieces. It knows nothing of
/// frames but where a request ends.
class FaultyBus {
public:
    using Answer = std::function<std::string(const std::string& request)>;
    explicit FaultyBus(Answer answer) : m_Answer(std::move(answer)), m_Thread([this] { Serve(); }) {}
    ~FaultyBus() {
        m_Stop = true;
        m_Thread.join();
    }

    simulator::PseudoTerminal Terminal;

private:
    void Serve() {
        for (std::string received; !m_Stop; std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
            received += Terminal.Read();
            if (received.size() < 2) continue;
            const auto length = static_cast<unsigned char>(received[1]) + std::size_t{5};
            if (received.size() < length) continue;
            const auto answer = m_Answer(received.substr(0, length));
            // Within the first frame: what stands behind that one comes together with its end.
            const auto first = std::min<std::size_t>(3, answer.size());
            Terminal.Write(answer.substr(0, first));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            Terminal.Write(answer.substr(first));
            received.erase(0, length);
        }
    }

    Answer m_Answer;
    std::atomic<bool> m_Stop{false};
    std::thread m_Thread;
};

}  // namespace orvix::tests
