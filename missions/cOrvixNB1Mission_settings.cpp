#include "host/text.h"
#include "missions/cOrvixNB1Mission.h"

namespace orvix {
namespace {

constexpr SettingRange kRateRange{"Sampling interval", 1, 255};
constexpr SettingRange kDelayRange{"Start Delay", 0, 65535};

}  // namespace

void cOrvixNB1Mission::CheckRange(double value, const SettingRange& range) {
    PlexaERR.Check(value >= range.Lowest && value <= range.Highest, errors::Validation, errors::OutOfRange, range.Label,
                   NumberText(range.Lowest) + " to " + NumberText(range.Highest));
}

void cOrvixNB1Mission::iOrvixNB1Mission_Rate(std::int16_t rhs) {
    CheckRange(rhs, kRateRange);
    m_NewSettings.Rate = rhs;
}

void cOrvixNB1Mission::iOrvixNB1Mission_Delay(std::int32_t rhs) {
    CheckRange(rhs, kDelayRange);
    m_NewSettings.Delay = rhs;
}

void cOrvixNB1Mission::iOrvixNB1Mission_SimulateTrend(bool rhs) {
    m_SimulateTrend = rhs;
    m_SimulatedIndex = 0;
}

}  // namespace orvix
