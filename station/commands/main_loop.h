#pragma once

#include <functional>
#include <mutex>
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

    /// Called on the main thread when the terminal's window has another size.
    void OnWindowChange(std::function<void()> changed) { m_WindowChanged = std::move(changed); }
    /// Called on the main thread at SIGHUP, in place of Stop.
    void OnHangUp(std::function<void()> hungUp) { m_HungUp = std::move(hungUp); }
    /// Called on another thread right before the program ends at once; null: no more. Returns when no call is under
    /// way.
    void OnForcedEnd(std::function<void()> ending);

private:
    void AwaitSignals();
    void ForceEnd();

    platform::RealApartment m_Apartment;
    std::function<void()> m_WindowChanged = [] {};
    std::function<void()> m_HungUp = [this] { Stop(); };
    std::mutex m_Mutex;  ///< guards m_ForcedEnd
    std::function<void()> m_ForcedEnd;
    std::thread m_Signals;
};

}  // namespace orvix::station
