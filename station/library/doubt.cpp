#include "station/library/doubt.h"

#include <cmath>

#include "devices/protocol/device_models.h"

namespace orvix::station {
namespace {

// What a sensor has before it has measured. The library keeps it as 0 degrees.
constexpr double kPowerOnDegrees = 85;

Doubt DoubtOfTemperature(double degrees, const Exchange* exchange, const Plausibility& plausible) {
    const bool isPowerOn =
        exchange != nullptr && kTemperatureSensor.Decode(exchange->Payload) == MeasuredValue(kPowerOnDegrees);
    if (isPowerOn || degrees == kPowerOnDegrees) return Doubt::PowerOnValue;
    // Nothing measures so finely: such a number is none that a device has made.
    constexpr double kFinest = 1e-6;
    const bool isTooFine = degrees != 0 && std::abs(degrees) < kFinest;
    const bool isInRange = degrees >= plausible.Low && degrees <= plausible.High;
    return isInRange && !isTooFine ? Doubt::None : Doubt::OutOfRange;
}

}  // namespace

Doubt DoubtOf(const Reading& reading, const Exchange* exchange, const Plausibility& plausible) {
    if (const auto* degrees = std::get_if<double>(&reading.Value)) {
        const auto doubt = DoubtOfTemperature(*degrees, exchange, plausible);
        if (doubt != Doubt::None) return doubt;
    }
    if (exchange != nullptr && exchange->HasOtherCode) return Doubt::ReplyCode;
    if (exchange != nullptr && exchange->HasWrongSum) return Doubt::OuterChecksum;
    return Doubt::None;
}

}  // namespace orvix::station
