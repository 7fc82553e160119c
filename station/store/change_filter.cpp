#include "station/store/change_filter.h"

#include <cmath>

namespace orvix::station {

bool ChangeFilter::Passes(const ChangeSetup& setup, std::int64_t time, double value) {
    if (setup.OnlyChanges && m_Recorded && std::abs(value - m_Recorded->Value) <= setup.DeadBand &&
        time - m_Recorded->Time < setup.LongestSilence.count()) {
        return false;
    }
    m_Recorded = {time, value};
    return true;
}

}  // namespace orvix::station
