#include "tests/station/faulty_bus.h"

#include <poll.h>

namespace orvix::tests {

FaultyBus::FaultyBus(Answer answer) : m_Answer(std::move(answer)) {
    m_Thread = std::thread([this] { Serve(); });
}

FaultyBus::~FaultyBus() {
    m_Stop = true;
    m_Thread.join();
}

void FaultyBus::Serve() {
    std::string received;
    for (int number = 0; !m_Stop;) {
        pollfd end{m_Terminal->Descriptor(), POLLIN, 0};
        poll(&end, 1, 5);
        if ((end.revents & POLLIN) == 0) poll(nullptr, 0, 2);
        received += m_Terminal->Read();
        if (received.size() < 2) continue;
        const auto length = static_cast<unsigned char>(received[1]) + std::size_t{5};
        if (received.size() < length) continue;
        for (const auto& piece : m_Answer(received.substr(0, length), number++)) {
            poll(nullptr, 0, static_cast<int>(piece.Before.count()));
            m_Terminal->Write(piece.Bytes);
        }
        received.erase(0, length);
    }
}

}  // namespace orvix::tests
