#pragma once

#include <cstdint>
#include <string>

namespace orvix {

/// Callback of the link timer.
class IPlexaLinkTimer {
public:
    virtual ~IPlexaLinkTimer() = default;
    /// `strTimerLink` is the tag given when the callback was scheduled.
    void FireTimer(const std::string& strTimerLink, std::int32_t lngTimerID) {
        IPlexaLinkTimer_FireTimer(strTimerLink, lngTimerID);
    }

private:
    virtual void IPlexaLinkTimer_FireTimer(const std::string& strTimerLink, std::int32_t lngTimerID) = 0;
};

}  // namespace orvix
