#pragma once

#include <cstddef>
#include <string>
#include <thread>

#include "simulator/pseudo_terminal.h"

namespace orvix::bench {

/// Answers every request of a fixed length with the same bytes, at once, on a thread of its own: the same for all who
/// are compared.
class Responder {
public:
    Responder(std::size_t requestLength, std::string reply);
    ~Responder();
    Responder(const Responder&) = delete;
    Responder& operator=(const Responder&) = delete;

    /// The device file of the end that asks.
    const std::string& Path() const { return m_Terminal.Path(); }

private:
    void Serve();

    simulator::PseudoTerminal m_Terminal;
    std::size_t m_RequestLength;
    std::string m_Reply;
    int m_KeepOpen;
    int m_StopEvent;
    std::thread m_Thread;
};

}  // namespace orvix::bench
