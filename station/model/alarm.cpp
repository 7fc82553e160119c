#include "station/model/alarm.h"

#include <cmath>

#include "host/text.h"

namespace orvix::station {
namespace {

/// As many decimals as a sensor of this kind is worth.
std::string DegreesText(double degrees) {
    return NumberText(std::round(degrees * 100) / 100) + " °C";
}

}  // namespace

std::string AlarmEvent::KindText() const {
    switch (Kind) {
        case AlarmKind::Low:
            return "low";
        case AlarmKind::High:
            return "high";
        default:
            return "input " + NumberText(std::int32_t{Input});
    }
}

std::string AlarmEvent::Text() const {
    if (Withdrawn) return "the limit was taken away";
    if (Kind == AlarmKind::Input) return KindText() + (Value != 0 ? " is on" : " is off");
    const std::string side = Kind == AlarmKind::High ? "above" : "below";
    return DegreesText(Value) + " is " + (Starts ? "" : "no longer ") + side + " the limit of " + DegreesText(Limit);
}

}  // namespace orvix::station
