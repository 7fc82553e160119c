#pragma once

namespace orvix {

/// What a temperature mission has besides; all in degrees Celsius.
class iOrvixNB1TPMission {
public:
    virtual ~iOrvixNB1TPMission() = default;

    /// The device's temperature variable. Raises MissingItem or TypeMismatch when there is none.
    float Temperature() const { return iOrvixNB1TPMission_Temperature(); }
    /// -40 to 85; reads and writes as the other settings.
    float HighAlarm() const { return iOrvixNB1TPMission_HighAlarm(); }
    void HighAlarm(float rhs) { iOrvixNB1TPMission_HighAlarm(rhs); }
    /// -40 to 85.
    float LowAlarm() const { return iOrvixNB1TPMission_LowAlarm(); }
    void LowAlarm(float rhs) { iOrvixNB1TPMission_LowAlarm(rhs); }

private:
    virtual float iOrvixNB1TPMission_Temperature() const = 0;
    virtual float iOrvixNB1TPMission_HighAlarm() const = 0;
    virtual void iOrvixNB1TPMission_HighAlarm(float rhs) = 0;
    virtual float iOrvixNB1TPMission_LowAlarm() const = 0;
    virtual void iOrvixNB1TPMission_LowAlarm(float rhs) = 0;
};

}  // namespace orvix
