#pragma once

#include <thread>

#include "platform/real_apartment.h"

namespace orvix::station {

/// The program's main thread: an apartment where the buses' events arrive, so that one thread writes the output. SIGINT
/// and SIGTERM end it in order; a second one, or twelve seconds, end the program at once.
///
/// Construct it before any other thread: threads inherit that the signals are blocked.
class MainLoop {
public:
    MainLoop();
    ~MainLoop();
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    platform::RealApartment& Apartment() { return m_Apartment; }
    /// Delivers events until Stop or a signal.
    void Run() { m_Apartment.Run(); }
    void Stop() { m_Apartment.Quit(); }

private:
    void AwaitSignals();

    platform::RealApartment m_Apartment;
    std::thread m_Signals;
};

}  // namespace orvix::station
