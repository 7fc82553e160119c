#include "station/commands/main_loop.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace orvix::station {
namespace {

// Sent by the destructor to its own signal thread.
constexpr int kEndOfProgram = SIGUSR1;

constexpr int kInterruptedStatus = 130;

// An exchange cannot be broken off; one with long time-outs and many attempts must not keep the program.
constexpr timespec kLongestStop{12, 0};

sigset_t AwaitedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, kEndOfProgram);
    return signals;
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

void MainLoop::AwaitSignals() {
    const auto signals = AwaitedSignals();
    int signal = 0;
    sigwait(&signals, &signal);
    if (signal == kEndOfProgram) return;
    Stop();
    do {
        signal = sigtimedwait(&signals, nullptr, &kLongestStop);
    } while (signal < 0 && errno == EINTR);
    if (signal != kEndOfProgram) _exit(kInterruptedStatus);
}

}  // namespace orvix::station
