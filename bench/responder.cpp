#include "bench/responder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace orvix::bench {

Responder::Responder(std::size_t requestLength, std::string reply)
    : m_RequestLength(requestLength),
      m_Reply(std::move(reply)),
      // While nobody has the other end open the terminal reports a hang-up all the time.
      m_KeepOpen(open(m_Terminal.Path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)),
      m_StopEvent(eventfd(0, EFD_CLOEXEC)),
      m_Thread([this] { Serve(); }) {}

Responder::~Responder() {
    eventfd_write(m_StopEvent, 1);
    m_Thread.join();
    close(m_StopEvent);
    close(m_KeepOpen);
}

void Responder::Serve() {
    std::size_t received = 0;
    for (;;) {
        pollfd ends[] = {{m_StopEvent, POLLIN, 0}, {m_Terminal.Descriptor(), POLLIN, 0}};
        poll(ends, 2, -1);
        if (ends[0].revents != 0) return;
        received += m_Terminal.Read().size();
        for (; received >= m_RequestLength; received -= m_RequestLength)
            m_Terminal.Write(m_Reply);
    }
}

}  // namespace orvix::bench
