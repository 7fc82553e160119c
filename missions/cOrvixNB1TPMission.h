#pragma once

#include "missions/cOrvixNB1Mission.h"
#include "missions/iOrvixNB1TPMission.h"

namespace orvix {

/// Mission of a temperature sensor.
class cOrvixNB1TPMission final : public cOrvixNB1Mission, public iOrvixNB1TPMission {
public:
    explicit cOrvixNB1TPMission(const Services& services) : cOrvixNB1Mission(services) {}

private:
    friend class MissionStatusSeam;

    std::optional<AlarmLimits> Limits() const override {
        return AlarmLimits{m_TemperatureStatus.HighAlarm, m_TemperatureStatus.LowAlarm};
    }
    void TakeStatusValue(const std::string& Status) override;
    ByteArray StatusImage() const override { return PackedImage(m_Status, m_TemperatureStatus); }

    float iOrvixNB1TPMission_Temperature() const override;
    float iOrvixNB1TPMission_HighAlarm() const override { return m_TemperatureStatus.HighAlarm; }
    void iOrvixNB1TPMission_HighAlarm(float rhs) override;
    float iOrvixNB1TPMission_LowAlarm() const override { return m_TemperatureStatus.LowAlarm; }
    void iOrvixNB1TPMission_LowAlarm(float rhs) override;

    TemperatureStatus m_TemperatureStatus;
    AlarmLimits m_NewLimits;  ///< pending settings
};

}  // namespace orvix
