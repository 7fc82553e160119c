#include "soak/faulty_terminal.h"

#include <chrono>
#include <utility>

#include "devices/protocol/frame.h"

namespace orvix::soak {

namespace {

Duration Now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

}  // namespace

FaultyTerminal::FaultyTerminal(std::string link, std::uint32_t seed, Counts& counts)
    : m_Link(std::move(link)), m_Devices(seed, counts) {
    PlugIn();
    m_Thread = std::thread([this] { Serve(); });
}

FaultyTerminal::~FaultyTerminal() {
    m_Stop = true;
    m_Thread.join();
}

void FaultyTerminal::PlugIn() {
    m_Terminal = std::make_unique<simulator::PseudoTerminal>();
    m_Terminal->Link(m_Link);
    m_Received.clear();
    m_Sending.clear();
}

void FaultyTerminal::Serve() {
    // A terminal that nobody has open only reports a hang-up, so there is nothing to wait for in the kernel.
    for (; !m_Stop; std::this_thread::sleep_for(std::chrono::microseconds(300))) {
        const Duration now = Now();
        if (!m_Terminal && now >= m_BackAt) PlugIn();
        if (m_Terminal) TakeRequests(now);
        if (m_Terminal) SendWhatIsDue(now);
    }
}

void FaultyTerminal::TakeRequests(Duration now) {
    m_Received += m_Terminal->Read();
    for (;;) {
        const auto length = FrameLength(m_Received);
        if (!length || m_Received.size() < *length) return;
        Outcome outcome = m_Devices.Answer(m_Received.substr(0, *length), now);
        m_Received.erase(0, *length);
        m_Gone = outcome.Gone;
        Duration due = now;
        for (auto& chunk : outcome.Line.Reply) {
            due += chunk.After;
            m_Sending.emplace(due, std::move(chunk));
        }
    }
}

void FaultyTerminal::SendWhatIsDue(Duration now) {
    while (!m_Sending.empty() && m_Sending.begin()->first <= now) {
        const tests::Chunk chunk = std::move(m_Sending.begin()->second);
        m_Sending.erase(m_Sending.begin());
        m_Terminal->Write(chunk.Bytes);
        if (!chunk.HangsUp) continue;
        m_Terminal.reset();
        m_BackAt = now + m_Gone;
        return;
    }
}

}  // namespace orvix::soak
