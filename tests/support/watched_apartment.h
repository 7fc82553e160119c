#pragma once

#include <memory>
#include <set>
#include <string>
#include <utility>

#include "host/apartment.h"

namespace orvix::tests {

/// An apartment that knows which of its timers are switched on.
class WatchedApartment : public Apartment {
public:
    explicit WatchedApartment(Apartment& apartment) : m_Apartment(apartment) {}

    /// Intervals of the timers that are on, in milliseconds and in order: "10 3000".
    std::string Running() const { return Intervals(false); }
    /// Also of those that are off.
    std::string All() const { return Intervals(true); }

    std::int32_t ThreadID() const override { return m_Apartment.ThreadID(); }
    Duration Now() const override { return m_Apartment.Now(); }
    Date DateNow() const override { return m_Apartment.DateNow(); }
    void Post(std::function<void()> message) override { m_Apartment.Post(std::move(message)); }
    bool PumpUntil(const std::function<bool()>& done, Duration limit) override {
        return m_Apartment.PumpUntil(done, limit);
    }
    void Block(Duration time) override { m_Apartment.Block(time); }
    std::unique_ptr<Timer> CreateTimer(std::function<void()> tick) override {
        return std::make_unique<WatchedTimer>(m_Timers, m_Apartment.CreateTimer(std::move(tick)));
    }

private:
    struct WatchedTimer : Timer {
        WatchedTimer(std::set<const WatchedTimer*>& timers, std::unique_ptr<Timer> timer)
            : m_Timers(timers), m_Timer(std::move(timer)) {
            m_Timers.insert(this);
        }
        WatchedTimer(const WatchedTimer&) = delete;
        WatchedTimer& operator=(const WatchedTimer&) = delete;
        ~WatchedTimer() override { m_Timers.erase(this); }

        void Rearm(std::int32_t intervalMs, bool enabled) override {
            m_Timer->Rearm(intervalMs, enabled);
            IsOn = enabled;
        }
        void Enabled(bool rhs) override {
            m_Timer->Enabled(rhs);
            IsOn = rhs;
        }
        bool Expired() const override { return m_Timer->Expired(); }
        std::int32_t Interval() const override { return m_Timer->Interval(); }

        bool IsOn = false;

    private:
        std::set<const WatchedTimer*>& m_Timers;
        std::unique_ptr<Timer> m_Timer;
    };

    std::string Intervals(bool alsoOff) const {
        std::multiset<std::int32_t> intervals;
        for (const WatchedTimer* timer : m_Timers) {
            if (timer->IsOn || alsoOff) intervals.insert(timer->Interval());
        }
        std::string all;
        for (const std::int32_t interval : intervals)
            all += (all.empty() ? "" : " ") + std::to_string(interval);
        return all;
    }

    Apartment& m_Apartment;
    std::set<const WatchedTimer*> m_Timers;
};

}  // namespace orvix::tests
