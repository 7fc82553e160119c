#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "host/apartment.h"
#include "platform/timer_queue.h"

namespace orvix::platform {

/// The apartment of the thread that creates it: Run delivers messages and ticks there, and sleeps in between. An
/// exception that leaves a message or tick leaves Run or PumpUntil; either can be called again and goes on with what
/// comes next. Messages that are still queued when the apartment goes are dropped.
class RealApartment : public Apartment {
public:
    RealApartment();

    /// Delivers until Quit.
    void Run();
    /// Makes Run return, after the messages posted so far. May be called from any thread.
    void Quit();

    /// The system's number of the thread.
    std::int32_t ThreadID() const override { return m_ThreadID; }
    Duration Now() const override;
    Date DateNow() const override;
    void Post(std::function<void()> message) override;
    std::unique_ptr<Timer> CreateTimer(std::function<void()> tick) override;
    bool PumpUntil(const std::function<bool()>& done, Duration limit) override;
    void Block(Duration time) override;

private:
    /// Delivers one message or tick, sleeping until there is one. Returns false when there was none by `end`.
    bool DeliverNext(Duration end);
    std::optional<std::function<void()>> WaitForMessage(Duration end);

    std::int32_t m_ThreadID;
    bool m_Quit = false;
    TimerQueue m_Timers;
    std::mutex m_Mutex;  ///< guards the messages alone: all else is the thread's own
    std::condition_variable m_Wake;
    std::deque<std::function<void()>> m_Messages;
};

}  // namespace orvix::platform
