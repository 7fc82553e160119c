#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "host/apartment.h"
#include "platform/file_descriptor.h"

namespace orvix::station {

/// Waits for keys on a thread of its own, so that an apartment need not ask for them.
class KeyWatch {
public:
    /// `pressed` is called on the apartment when standard input has something, which it must take before it calls Next;
    /// `gone` when there will never be anything more.
    KeyWatch(Apartment& apartment, std::function<void()> pressed, std::function<void()> gone);
    ~KeyWatch();
    KeyWatch(const KeyWatch&) = delete;
    KeyWatch& operator=(const KeyWatch&) = delete;

    /// Waits for the next key.
    void Next();

private:
    void Watch();
    /// Waits for Next or the end; or for standard input as well, and tells whether it has something.
    short Wait(bool forInput);

    Apartment& m_Apartment;
    const std::function<void()> m_Pressed;
    const std::function<void()> m_Gone;
    std::atomic<bool> m_End{false};
    platform::FileDescriptor m_Wake;
    std::thread m_Thread;
};

}  // namespace orvix::station
