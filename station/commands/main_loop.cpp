#include "station/commands/main_loop.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <utility>

#include "host/error.h"

namespace orvix::station {
namespace {

constexpr int kInterruptedStatus = 130;

// An exchange cannot be broken off; one with long time-outs and many attempts must not keep the program.
constexpr unsigned kLongestStopSeconds = 12;

constexpr int kTaken[] = {SIGINT, SIGTERM, SIGHUP, SIGWINCH, SIGUSR1, SIGALRM};

// What handlers of signals work with. They may run on any thread, at any moment.
std::atomic<unsigned> arrivedSignals{0};  // a bit each
std::atomic<bool> isEnding{false};
std::atomic<int> arrivedEvent{-1};
std::atomic<const std::function<void()>*> forcedEnd{nullptr};

unsigned BitOf(int signal) {
    return 1U << static_cast<unsigned>(signal);
}

[[noreturn]] void ForceEnd() {
    if (const auto* ending = forcedEnd.load()) (*ending)();
    ::_exit(kInterruptedStatus);
}

/// A second demand ends the program, and so does the first when it is not obeyed in time.
void DemandEnd() {
    if (isEnding.exchange(true)) ForceEnd();
    ::alarm(kLongestStopSeconds);
}

void OnSignal(int signal) {
    const int error = errno;
    if (signal == SIGALRM) ForceEnd();
    if (signal == SIGINT || signal == SIGTERM) DemandEnd();
    arrivedSignals |= BitOf(signal);
    ::eventfd_write(arrivedEvent, 1);
    errno = error;
}

bool IsIgnored(int signal) {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void Handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

void UnblockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : kTaken)
        sigaddset(&signals, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace

MainLoop::MainLoop()
    : m_Arrived(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_Watch(m_Apartment.Watch(m_Arrived.Get(), POLLIN, [this](short) { TakeSignals(); })) {
    if (!m_Arrived.IsOpen()) throw SystemError("no event for signals", errno);
    arrivedEvent = m_Arrived.Get();
    for (const int signal : kTaken) {
        if (signal != SIGHUP || !IsIgnored(SIGHUP)) Handle(signal, OnSignal);
    }
    UnblockSignals();
    // Output that nobody reads any more, or beyond the size that a file may have, is an error of its writing.
    for (const int signal : {SIGPIPE, SIGXFSZ})
        Handle(signal, SIG_IGN);
}

MainLoop::~MainLoop() {
    ::alarm(0);
    for (const int signal : kTaken) {
        if (signal != SIGHUP || !IsIgnored(SIGHUP)) Handle(signal, SIG_DFL);
    }
    arrivedEvent = -1;
    forcedEnd = nullptr;
}

void MainLoop::OnForcedEnd(std::function<void()> ending) {
    forcedEnd = nullptr;
    m_ForcedEnd = std::move(ending);
    if (m_ForcedEnd) forcedEnd = &m_ForcedEnd;
}

void MainLoop::TakeSignals() {
    eventfd_t count = 0;
    ::eventfd_read(m_Arrived.Get(), &count);
    const auto arrived = arrivedSignals.exchange(0);
    const auto hasCome = [arrived](int signal) { return (arrived & BitOf(signal)) != 0; };
    if (hasCome(SIGWINCH)) m_WindowChanged();
    if (hasCome(SIGUSR1)) m_Reopen();
    if (hasCome(SIGHUP) && m_HungUp) m_HungUp();
    const bool isHungUp = hasCome(SIGHUP) && !m_HungUp && !isEnding;
    if (isHungUp) DemandEnd();
    if (hasCome(SIGINT) || hasCome(SIGTERM) || isHungUp) Stop();
}

}  // namespace orvix::station
