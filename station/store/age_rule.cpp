#include "station/store/age_rule.h"

#include <cstdlib>

namespace orvix::station {

void AgeRule::Start(std::int64_t unixNow, std::int64_t bootNow, std::optional<std::int64_t> newest) {
    constexpr std::int64_t kFar = 86'400'000;
    if (newest && std::abs(unixNow - *newest) > kFar) m_RestsUntil = bootNow + kRest;
}

}  // namespace orvix::station
