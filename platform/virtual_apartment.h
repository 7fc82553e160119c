#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>

#include "host/apartment.h"
#include "platform/timer_queue.h"

namespace orvix::platform {

/// Virtual time for any number of apartments on one thread: messages in order of arrival, then what is due in the order
/// of (due time, sequence), so a run is the same every time and an hour costs nothing.
class VirtualScheduler {
public:
    explicit VirtualScheduler(Date start) : m_Start(start) {}

    Duration Now() const { return m_Now; }
    Date DateNow() const;

    /// Delivers everything that falls due within the time; the clock then stands at its end, or beyond it when the last
    /// delivery has blocked for longer.
    void RunFor(Duration time);
    /// Delivers until `done` holds or the limit is over. Returns whether `done` holds.
    bool RunUntil(const std::function<bool()>& done, Duration limit);
    /// Moves the clock while a thread is blocked: the apartments of other threads go on, what comes for those of this
    /// one waits. None of the others may wait for an apartment of a blocked thread.
    void Block(std::int32_t threadID, Duration time);

    void Post(std::int32_t threadID, std::function<void()> message) {
        m_Messages.push_back({threadID, std::move(message)});
    }
    TimerQueue& Timers() { return m_Timers; }

private:
    struct Message {
        std::int32_t ThreadID;
        std::function<void()> Deliver;
    };
    /// Delivers the next message, else the next tick due by `end`. Returns false when there is none or `end` is past.
    bool DeliverNext(Duration end);

    Date m_Start;
    Duration m_Now{0};
    std::deque<Message> m_Messages;
    TimerQueue m_Timers;
    TimerQueue::Threads m_Blocked;
};

/// An apartment in virtual time. Its messages go before timer ticks due at the same moment. Apartments with the same
/// thread number stand for one thread.
class VirtualApartment : public Apartment {
public:
    explicit VirtualApartment(VirtualScheduler& scheduler, std::int32_t threadID = 1)
        : m_Scheduler(scheduler), m_ThreadID(threadID) {}

    std::int32_t ThreadID() const override { return m_ThreadID; }
    Duration Now() const override { return m_Scheduler.Now(); }
    Date DateNow() const override { return m_Scheduler.DateNow(); }
    void Post(std::function<void()> message) override;
    std::unique_ptr<Timer> CreateTimer(std::function<void()> tick) override;
    bool PumpUntil(const std::function<bool()>& done, Duration limit) override;
    void Block(Duration time) override { m_Scheduler.Block(m_ThreadID, time); }

private:
    VirtualScheduler& m_Scheduler;
    std::int32_t m_ThreadID;
    /// Messages that are still queued when the apartment goes are dropped.
    std::shared_ptr<bool> m_Alive = std::make_shared<bool>(true);
};

}  // namespace orvix::platform
