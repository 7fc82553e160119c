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

void VirtualScheduler::Block(std::int32_t threadID, Duration time) {
    m_Blocked.insert(threadID);
    try {
        RunFor(time);
    } catch (...) {
        m_Blocked.erase(threadID);
        throw;
    }
    m_Blocked.erase(threadID);
}

bool VirtualScheduler::DeliverNext(Duration end) {
    if (m_Now > end) return false;
    const auto next = std::find_if(m_Messages.begin(), m_Messages.end(),
                                   [this](const Message& message) { return !m_Blocked.contains(message.ThreadID); });
    if (next != m_Messages.end()) {
        const auto deliver = std::move(next->Deliver);
        m_Messages.erase(next);
        deliver();
        return true;
    }
    const auto due = m_Timers.NextDue(m_Blocked);
    if (!due || *due > end) return false;
    m_Now = std::max(m_Now, *due);
    return m_Timers.TickNext(m_Now, m_Blocked);
}

void VirtualApartment::Post(std::function<void()> message) {
    m_Scheduler.Post(m_ThreadID, [alive = std::weak_ptr(m_Alive), message = std::move(message)] {
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
