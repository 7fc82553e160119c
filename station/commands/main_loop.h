#pragma once

#include <functional>
#include <memory>

#include "platform/file_descriptor.h"
#include "platform/real_apartment.h"

namespace orvix::station {

/// The program's main thread: an apartment where the buses' events arrive, and the signals. There is one at a time.
///
/// SIGINT and SIGTERM end it in order, whatever the main thread is doing; a second one, or twelve seconds, end the
/// program at once. SIGHUP, SIGWINCH and SIGUSR1 are handed to those who want them; a SIGHUP that was ignored when the
/// program started stays so.
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

    /// Called when the terminal's window has another size.
    void OnWindowChange(std::function<void()> changed) { m_WindowChanged = std::move(changed); }
    /// Called at SIGHUP, which else ends the program as SIGTERM does.
    void OnHangUp(std::function<void()> hungUp) { m_HungUp = std::move(hungUp); }
    /// Called at SIGUSR1: files that were moved away are to be opened anew.
    void OnReopen(std::function<void()> reopen) { m_Reopen = std::move(reopen); }
    /// Called in a signal's handler right before the program ends at once, so it may only do what is allowed there;
    /// null: no more.
    void OnForcedEnd(std::function<void()> ending);

private:
    void TakeSignals();

    platform::RealApartment m_Apartment;
    platform::FileDescriptor m_Arrived;  ///< readable when a signal has come
    std::unique_ptr<platform::DescriptorWatch> m_Watch;
    std::function<void()> m_WindowChanged = [] {};
    std::function<void()> m_HungUp;
    std::function<void()> m_Reopen = [] {};
    std::function<void()> m_ForcedEnd;
};

}  // namespace orvix::station
