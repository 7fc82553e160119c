#include "simulator/bus_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "host/error.h"

namespace orvix::simulator {
namespace {

// Start bit, eight data bits, stop bit.
constexpr int kBitsPerByte = 10;

// While no program has the port open the terminal only reports a hang-up, so there is nothing to wait for in the
// kernel.
constexpr Time kHangUpPause = std::chrono::milliseconds(5);

timespec ToTimespec(Time time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {static_cast<std::time_t>(seconds.count()), static_cast<long>((time - seconds).count())};
}

}  // namespace

BusServer::BusServer(SimulatedBus bus, int baud)
    : m_Bus(std::move(bus)),
      m_ByteTime(baud > 0 ? Time(std::chrono::seconds(kBitsPerByte)) / baud : Time::zero()),
      m_Started(Now()),
      m_StopEvent(eventfd(0, EFD_CLOEXEC)) {
    if (m_StopEvent < 0) throw SystemError("cannot start the simulated bus", errno);
    m_Thread = std::thread([this] { Serve(); });
}

BusServer::~BusServer() {
    m_Stop = true;
    eventfd_write(m_StopEvent, 1);
    m_Thread.join();
    close(m_StopEvent);
}

Time BusServer::Now() const {
    return std::chrono::steady_clock::now().time_since_epoch();
}

void BusServer::Serve() {
    while (!m_Stop) {
        Wait(Now());
        TakeRequests(Now());
        SendWhatIsDue(Now());
    }
}

void BusServer::Wait(Time now) {
    pollfd ends[] = {{m_StopEvent, POLLIN, 0}, {m_Terminal.Descriptor(), POLLIN, 0}};
    timespec limit{};
    if (!m_Sending.empty()) limit = ToTimespec(std::max(m_Sending.front().first - now, Time::zero()));
    ppoll(ends, 2, m_Sending.empty() ? nullptr : &limit, nullptr);
    if ((ends[1].revents & POLLHUP) != 0 && (ends[1].revents & POLLIN) == 0) {
        const auto pause = ToTimespec(kHangUpPause);
        ppoll(ends, 1, &pause, nullptr);
    }
}

void BusServer::TakeRequests(Time now) {
    const auto received = m_Terminal.Read();
    if (received.empty()) return;
    // The terminal delivers at once what takes a line its time: the request, then the answer byte by byte.
    auto through = std::max(now, m_LineFreeAt) + m_ByteTime * static_cast<std::int64_t>(received.size());
    for (const char byte : m_Bus.Receive(received, now - m_Started)) {
        through += m_ByteTime;
        m_Sending.emplace_back(through, byte);
    }
    m_LineFreeAt = through;
}

void BusServer::SendWhatIsDue(Time now) {
    std::string due;
    while (!m_Sending.empty() && m_Sending.front().first <= now) {
        due += m_Sending.front().second;
        m_Sending.pop_front();
    }
    if (!due.empty()) m_Terminal.Write(due);
}

}  // namespace orvix::simulator
