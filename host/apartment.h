#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "host/date.h"

namespace orvix {

using Duration = std::chrono::nanoseconds;

/// Periodic timer. Its tick arrives on the apartment's thread, between other work; a timer that is gone never ticks.
class Timer {
public:
    virtual ~Timer() = default;
    /// Sets the interval in milliseconds, starts it anew and switches the timer on or off. The timer repeats until it
    /// is switched off.
    virtual void Rearm(std::int32_t intervalMs, bool enabled) = 0;
    virtual void Enabled(bool rhs) = 0;
    /// Whether the interval set by Rearm has run out at least once since. False while switched off.
    virtual bool Expired() const = 0;
    virtual std::int32_t Interval() const = 0;
};

/// One thread with one message loop: posted messages in order of arrival, then timer ticks that are due.
class Apartment {
public:
    virtual ~Apartment() = default;

    virtual std::int32_t ThreadID() const = 0;
    /// Steady time since some fixed moment.
    virtual Duration Now() const = 0;
    /// The date and time of day, UTC.
    virtual Date DateNow() const = 0;

    /// Queues a message; it runs on the apartment's thread, before any tick due at the same moment. May be called from
    /// any thread.
    virtual void Post(std::function<void()> message) = 0;

    /// A timer, switched off. One without a tick handler is only asked whether it has expired, and wakes nobody.
    virtual std::unique_ptr<Timer> CreateTimer(std::function<void()> tick) = 0;

    /// Delivers messages and ticks until `done` holds or the limit is over. Returns whether `done` holds.
    virtual bool PumpUntil(const std::function<bool()>& done, Duration limit) = 0;

    /// Blocks the thread without delivering anything.
    virtual void Block(Duration time) = 0;
};

/// Bounds a wait: expired when its interval has passed since the start.
class Countdown {
public:
    explicit Countdown(const Apartment& apartment) : m_Apartment(apartment) {}
    void Interval(std::int32_t milliseconds) { m_Interval = std::chrono::milliseconds(milliseconds); }
    void Start() { m_Started = m_Apartment.Now(); }
    bool Expired() const { return Remaining() <= Duration::zero(); }
    /// Time left; not above zero when expired.
    Duration Remaining() const { return m_Started + m_Interval - m_Apartment.Now(); }

private:
    const Apartment& m_Apartment;
    Duration m_Interval{0};
    Duration m_Started{0};
};

}  // namespace orvix
