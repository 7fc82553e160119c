#include "devices/cOrvixNB1DM.h"

#include "missions/cOrvixNB1DMMission.h"

namespace orvix {

cOrvixNB1DM::cOrvixNB1DM(const Services& services)
    : cOrvixNB1Device(services, kDigitalModule, std::make_unique<cOrvixNB1DMMission>(services)) {}

void cOrvixNB1DM::StoreReading(VariableRecord& record, const Variant& payload) {
    // The mission reads the input byte itself: a payload without one is refused before it becomes the value.
    ApplyStatus(payload.ToText(), false, true);
    record.Value(payload);
}

}  // namespace orvix
