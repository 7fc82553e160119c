#pragma once

#include "devices/cOrvixNB1Device.h"

namespace orvix {

/// The digital-input module.
class cOrvixNB1DM final : public cOrvixNB1Device {
public:
    explicit cOrvixNB1DM(const Services& services);

private:
    void StoreReading(VariableRecord& record, const Variant& payload) override;
};

}  // namespace orvix
