#include "platform/link_timer.h"

namespace orvix::platform {

void ApartmentLinkTimer::Schedule(IPlexaLinkTimer& target, const std::string& strTimerLink, std::int32_t delayMs) {
    const std::int32_t id = ++m_LastID;
    if (delayMs <= 0) {
        m_Apartment.Post([alive = std::weak_ptr(m_Alive), &target, tag = strTimerLink, id] {
            if (!alive.expired()) target.FireTimer(tag, id);
        });
        return;
    }
    auto& timer = m_Timers[id] = m_Apartment.CreateTimer([this, &target, strTimerLink, id] {
        m_Timers.erase(id);
        target.FireTimer(strTimerLink, id);
    });
    timer->Rearm(delayMs, true);
}

}  // namespace orvix::platform
