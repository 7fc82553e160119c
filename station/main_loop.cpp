#include "station/main_loop.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>

namespace orvix::station {
namespace {

// Sent by the destructor to its own signal thread.
constexpr int kEndOfProgram = SIGUSR1;

constexpr int kInterruptedStatus = 130;

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
    bool asked = false;
    for (int signal = 0; sigwait(&signals, &signal) == 0 && signal != kEndOfProgram;) {
        if (asked) _exit(kInterruptedStatus);
        asked = true;
        Stop();
    }
}

}  // namespace orvix::station
