#include "simulator/bus_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
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

// How soon it is noticed that the port is to go or to come back.
constexpr Time kPlugPeriod = std::chrono::milliseconds(20);

timespec ToTimespec(Time time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {static_cast<std::time_t>(seconds.count()), static_cast<long>((time - seconds).count())};
}

}  // namespace

BusServer::BusServer(SimulatedBus bus, int baud, Plugging plugging)
    : m_Plugging(std::move(plugging)),
      m_Bus(std::move(bus)),
      m_ByteTime(baud > 0 ? Time(std::chrono::seconds(kBitsPerByte)) / baud : Time::zero()),
      m_Started(Now()) {
    std::erase_if(m_Plugging.Unplugs, [](const Fault& fault) { return fault.Kind != FaultKind::Unplug; });
    PlugIn();
    m_StopEvent = eventfd(0, EFD_CLOEXEC);
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
        PlugAsDue(Now());
        Wait(Now());
        if (!m_Terminal) continue;
        TakeRequests(Now());
        SendWhatIsDue(Now());
    }
}

bool BusServer::IsUnplugged(Time now) const {
    return std::any_of(m_Plugging.Unplugs.begin(), m_Plugging.Unplugs.end(), [&](const Fault& fault) {
        const auto since = now - m_Started - fault.After;
        return since >= Time::zero() && (fault.Every.count() == 0 ? since : since % fault.Every) < fault.For;
    });
}

void BusServer::PlugAsDue(Time now) {
    const bool isUnplugged = IsUnplugged(now);
    if (isUnplugged && m_Terminal) {
        m_Terminal.reset();
        m_Sending.clear();
        Tell("the port is unplugged");
    } else if (!isUnplugged && !m_Terminal) {
        try {
            PlugIn();
            Tell("the port is plugged in again");
        } catch (const Error& error) {
            m_Terminal.reset();
            Tell(error.Description);
        }
    }
}

void BusServer::PlugIn() {
    m_Terminal.emplace();
    if (!m_Plugging.Link.empty()) m_Terminal->Link(m_Plugging.Link);
}

/// What is tried again and again is told once.
void BusServer::Tell(const std::string& text) {
    if (m_Plugging.Tell && text != m_LastTold) m_Plugging.Tell(text);
    m_LastTold = text;
}

void BusServer::Wait(Time now) {
    // The system passes over a descriptor below 0.
    pollfd ends[] = {{m_StopEvent, POLLIN, 0}, {m_Terminal ? m_Terminal->Descriptor() : -1, POLLIN, 0}};
    auto pause = m_Plugging.Unplugs.empty() ? Time::max() : kPlugPeriod;
    if (!m_Sending.empty()) pause = std::min(pause, std::max(m_Sending.begin()->first - now, Time::zero()));
    const auto limit = ToTimespec(pause);
    ppoll(ends, 2, pause == Time::max() ? nullptr : &limit, nullptr);
    if ((ends[1].revents & POLLHUP) != 0 && (ends[1].revents & POLLIN) == 0) {
        const auto hangUpPause = ToTimespec(kHangUpPause);
        ppoll(ends, 1, &hangUpPause, nullptr);
    }
}

void BusServer::Devices(const std::vector<SimulatedDevice>& devices) {
    const std::lock_guard lock(m_Mutex);
    m_Bus.Devices(devices);
}

void BusServer::TakeRequests(Time now) {
    const auto received = m_Terminal->Read();
    if (received.empty()) return;
    const std::lock_guard lock(m_Mutex);
    // The terminal delivers at once what takes a line its time: the request, then the answer byte by byte.
    auto through = std::max(now, m_LineFreeAt) + m_ByteTime * static_cast<std::int64_t>(received.size());
    for (const auto& answer : m_Bus.Receive(received, now - m_Started)) {
        for (const char byte : answer.Bytes) {
            through += m_ByteTime;
            m_Sending.emplace(through + answer.Delay, byte);
        }
    }
    m_LineFreeAt = through;
}

void BusServer::SendWhatIsDue(Time now) {
    std::string due;
    for (; !m_Sending.empty() && m_Sending.begin()->first <= now; m_Sending.erase(m_Sending.begin()))
        due += m_Sending.begin()->second;
    if (!due.empty()) m_Terminal->Write(due);
}

}  // namespace orvix::simulator
