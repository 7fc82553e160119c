#include "platform/virtual_apartment.h"

#include <algorithm>
#include <utility>

namespace orvix::platform {

Date VirtualScheduler::DateNow() const {
    return {m_Start.Days + std::chrono::duration<double, std::ratio<86400>>(m_Now).count()};
}

void VirtualScheduler::RunFor(Duration time) {
    RunUntil([] { return false; }, time);
}

bool VirtualScheduler::RunUntil(const std::function<bool()>& done, Duration limit) {
    const Duration end = m_Now + limit;
    while (!done()) {
        if (DeliverNext(end)) continue;
        m_Now = std::max(m_Now, end);
        return done();
    }
    return true;
}

bool VirtualScheduler::DeliverNext(Duration end) {
    if (m_Now > end) return false;
    if (!m_Messages.empty()) {
        const auto message = std::move(m_Messages.front());
        m_Messages.pop_front();
        message();
        return true;
    }
    const auto due = m_Timers.NextDue();
    if (!due || *due > end) return false;
    m_Now = std::max(m_Now, *due);
    return m_Timers.TickNext(m_Now);
}

void VirtualApartment::Post(std::function<void()> message) {
    m_Scheduler.Post([alive = std::weak_ptr(m_Alive), message = std::move(message)] {
        if (!alive.expired()) message();
    });
}

std::unique_ptr<Timer> VirtualApartment::CreateTimer(std::function<void()> tick) {
    return m_Scheduler.Timers().Create(*this, std::move(tick));
}

bool VirtualApartment::PumpUntil(const std::function<bool()>& done, Duration limit) {
    return m_Scheduler.RunUntil(done, limit);
}

}  // namespace orvix::platform
