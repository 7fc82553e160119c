#include "platform/timer_queue.h"

#include <algorithm>

namespace orvix::platform {

class RepeatingTimer : public Timer {
public:
    RepeatingTimer(TimerQueue& queue, const Apartment& apartment, std::function<void()> tick)
        : m_Queue(queue), m_Apartment(apartment), m_Tick(std::move(tick)) {}
    RepeatingTimer(const RepeatingTimer&) = delete;
    RepeatingTimer& operator=(const RepeatingTimer&) = delete;
    ~RepeatingTimer() override { Unschedule(); }

    void Rearm(std::int32_t intervalMs, bool enabled) override {
        m_Interval = intervalMs;
        m_Enabled = enabled;
        m_Armed = m_Apartment.Now();
        Unschedule();
        if (m_Enabled) Schedule(m_Armed + Period());
    }
    void Enabled(bool rhs) override {
        if (rhs != m_Enabled) Rearm(m_Interval, rhs);
    }
    bool Expired() const override { return m_Enabled && m_Apartment.Now() >= m_Armed + Period(); }
    std::int32_t Interval() const override { return m_Interval; }
    std::int32_t ThreadID() const { return m_Apartment.ThreadID(); }

    void Tick(Duration now) {
        Unschedule();
        Schedule(m_Armed + ((now - m_Armed) / Period() + 1) * Period());
        const auto tick = m_Tick;  // the handler may destroy this timer
        tick();
    }

private:
    Duration Period() const { return std::chrono::milliseconds(std::max(m_Interval, 1)); }
    void Schedule(Duration due) {
        if (m_Tick) m_Place = m_Queue.Enter(due, *this);
    }
    void Unschedule() {
        if (m_Place) m_Queue.Leave(*m_Place);
        m_Place.reset();
    }

    TimerQueue& m_Queue;
    const Apartment& m_Apartment;
    std::function<void()> m_Tick;
    std::int32_t m_Interval = 0;
    bool m_Enabled = false;
    Duration m_Armed{0};
    std::optional<TimerQueue::Place> m_Place;
};

std::unique_ptr<Timer> TimerQueue::Create(const Apartment& apartment, std::function<void()> tick) {
    return std::make_unique<RepeatingTimer>(*this, apartment, std::move(tick));
}

TimerQueue::ByPlace::const_iterator TimerQueue::First(const Threads& blocked) const {
    return std::find_if(m_Due.begin(), m_Due.end(),
                        [&](const auto& item) { return !blocked.contains(item.second->ThreadID()); });
}

std::optional<Duration> TimerQueue::NextDue(const Threads& blocked) const {
    const auto first = First(blocked);
    if (first == m_Due.end()) return std::nullopt;
    return first->first.first;
}

bool TimerQueue::TickNext(Duration now, const Threads& blocked) {
    const auto first = First(blocked);
    if (first == m_Due.end() || first->first.first > now) return false;
    first->second->Tick(now);
    return true;
}

TimerQueue::Place TimerQueue::Enter(Duration due, RepeatingTimer& timer) {
    const Place place{due, ++m_Sequence};
    m_Due.emplace(place, &timer);
    return place;
}

}  // namespace orvix::platform
