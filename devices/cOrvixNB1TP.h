#pragma once

#include "devices/cOrvixNB1Device.h"
#include "devices/iOrvixNB1TP.h"

namespace orvix {

/// The temperature sensor.
class cOrvixNB1TP final : public cOrvixNB1Device, public iOrvixNB1TP {
public:
    explicit cOrvixNB1TP(const Services& services);

private:
    void StoreReading(VariableRecord& record, const Variant& payload) override;
    float iOrvixNB1TP_Temperature() const override;
    void iOrvixNB1TP_Temperature(float rhs) override;
};

}  // namespace orvix
