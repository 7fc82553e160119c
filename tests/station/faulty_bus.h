#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "simulator/pseudo_terminal.h"

namespace orvix::tests {

/// What a line delivers for a request, piece by piece; a pause stands before each piece.
struct Piece {
    std::string Bytes;
    std::chrono::milliseconds Before{0};
};

/// A line on a real pseudo-terminal that answers as a test says, well or badly. It knows nothing of frames but where a
/// request ends.
class FaultyBus {
public:
    /// `answer` gets each request and its number, from 0.
    using Answer = std::function<std::vector<Piece>(const std::string& request, int number)>;
    explicit FaultyBus(Answer answer);
    ~FaultyBus();

    const std::string& Path() const { return m_Terminal->Path(); }
    simulator::PseudoTerminal& Terminal() { return *m_Terminal; }

private:
    void Serve();

    Answer m_Answer;
    std::optional<simulator::PseudoTerminal> m_Terminal{std::in_place};
    std::atomic<bool> m_Stop{false};
    std::thread m_Thread;
};

}  // namespace orvix::tests
