#pragma once

#include "missions/cOrvixNB1Mission.h"
#include "missions/iOrvixNB1DMMission.h"

namespace orvix {

/// Mission of a digital module. It has no alarm limits.
class cOrvixNB1DMMission final : public cOrvixNB1Mission, public iOrvixNB1DMMission {
public:
    explicit cOrvixNB1DMMission(const Services& services) : cOrvixNB1Mission(services) {}

private:
    friend class MissionStatusSeam;

    void TakeStatusValue(const std::string& Status) override;
    ByteArray StatusImage() const override { return PackedImage(m_Status, m_DigitalStatus); }
    std::optional<AlarmLimits> Limits() const override { return std::nullopt; }

    std::int16_t iOrvixNB1DMMission_InputByte() const override;

    DigitalStatus m_DigitalStatus;
};

}  // namespace orvix
