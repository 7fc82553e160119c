#include "missions/cOrvixNB1TPMission.h"

namespace orvix {
namespace {

constexpr SettingRange kHighAlarmRange{"High Temp Alarm", -40, 85};
constexpr SettingRange kLowAlarmRange{"Low Temp Alarm", -40, 85};

}  // namespace

void cOrvixNB1TPMission::TakeStatusValue(const std::string& Status) {
    m_TemperatureStatus.StatusValue = Variant(Status).ToSingle();
}

float cOrvixNB1TPMission::iOrvixNB1TPMission_Temperature() const {
    return ParentValue(ORVIXCNB1_VAR_TEMPERATURE).ToSingle();
}

void cOrvixNB1TPMission::iOrvixNB1TPMission_HighAlarm(float rhs) {
    CheckRange(rhs, kHighAlarmRange);
    m_NewLimits.High = rhs;
}

void cOrvixNB1TPMission::iOrvixNB1TPMission_LowAlarm(float rhs) {
    CheckRange(rhs, kLowAlarmRange);
    m_NewLimits.Low = rhs;
}

}  // namespace orvix
