#include "devices/cOrvixNB1TP.h"

#include "devices/protocol/basOrvixNB1.h"
#include "host/text.h"
#include "missions/cOrvixNB1TPMission.h"

namespace orvix {

cOrvixNB1TP::cOrvixNB1TP(const Services& services)
    : cOrvixNB1Device(services, kTemperatureSensor, std::make_unique<cOrvixNB1TPMission>(services)) {}

void cOrvixNB1TP::StoreReading(VariableRecord& record, const Variant& payload) {
    const float temperature = KeptTemperature(BytesToReal(payload.ToText()));
    record.Value(temperature);
    ApplyStatus(NumberText(temperature), false, true);
}

float cOrvixNB1TP::iOrvixNB1TP_Temperature() const {
    float temperature = 0;
    Attempt([&] { temperature = m_VarsEx.Item(NumberText(ORVIXCNB1_VAR_TEMPERATURE))->Value().ToSingle(); });
    return temperature;
}

void cOrvixNB1TP::iOrvixNB1TP_Temperature(float rhs) {
    Attempt([&] { m_VarsEx.Item(NumberText(ORVIXCNB1_VAR_TEMPERATURE))->Value(rhs); });
}

}  // namespace orvix
