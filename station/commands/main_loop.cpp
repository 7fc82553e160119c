#include "station/commands/main_loop.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <utility>

namespace orvix::station {
namespace {

// Sent by the destructor to its own signal thread.
constexpr int kEndOfProgram = SIGUSR1;

constexpr int kInterruptedStatus = 130;

// An exchange cannot be broken off; one with long time-outs and many attempts must not keep the program.
constexpr timespec kLongestStop{12, 0};

sigset_t SignalSet(std::initializer_list<int> members) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int member : members)
        sigaddset(&signals, member);
    return signals;
}

sigset_t AwaitedSignals() {
    return SignalSet({SIGINT, SIGTERM, SIGHUP, SIGWINCH, kEndOfProgram});
}

}  // namespace

MainLoop::MainLoop() {
    const auto signals = AwaitedSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // Output that nobody reads any more ends the loop by its error, not the program by a signal.
    std::signal(SIGPIPE, SIG_IGN);
    m_Signals = std::thread([this] { AwaitSignals(); });
}

MainLoop::~MainLoop() {
    pthread_kill(m_Signals.native_handle(), kEndOfProgram);
    m_Signals.join();
}

void MainLoop::OnForcedEnd(std::function<void()> ending) {
    const std::lock_guard lock(m_Mutex);
    m_ForcedEnd = std::move(ending);
}

void MainLoop::ForceEnd() {
    const std::lock_guard lock(m_Mutex);
    if (m_ForcedEnd) m_ForcedEnd();
    _exit(kInterruptedStatus);
}

void MainLoop::AwaitSignals() {
    const auto signals = AwaitedSignals();
    int signal = 0;
    while (sigwait(&signals, &signal) == 0 && (signal == SIGWINCH || signal == SIGHUP)) {
        auto& handler = signal == SIGWINCH ? m_WindowChanged : m_HungUp;
        m_Apartment.Post([&handler] { handler(); });
    }
    if (signal == kEndOfProgram) return;
    Stop();
    const auto ending = SignalSet({SIGINT, SIGTERM, kEndOfProgram});
    do {
        signal = sigtimedwait(&ending, nullptr, &kLongestStop);
    } while (signal < 0 && errno == EINTR);
    if (signal != kEndOfProgram) ForceEnd();
}

}  // namespace orvix::station
