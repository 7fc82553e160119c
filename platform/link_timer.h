#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "host/apartment.h"
#include "host/messaging.h"

namespace orvix::platform {

class ApartmentLinkTimer : public LinkTimer {
public:
    explicit ApartmentLinkTimer(Apartment& apartment) : m_Apartment(apartment) {}

    void Schedule(IPlexaLinkTimer& target, const std::string& strTimerLink, std::int32_t delayMs) override;

private:
    Apartment& m_Apartment;
    std::int32_t m_LastID = 0;
    std::map<std::int32_t, std::unique_ptr<Timer>> m_Timers;
    /// Callbacks that have been posted and not delivered are dropped when the link timer goes.
    std::shared_ptr<bool> m_Alive = std::make_shared<bool>(true);
};

}  // namespace orvix::platform
