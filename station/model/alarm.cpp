#include "station/model/alarm.h"

#include <cmath>

#include "host/text.h"
#include "station/words/quantity_text.h"

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
        case AlarmKind::Silent:
            return "silent";
        case AlarmKind::Doubtful:
            return "doubtful";
        case AlarmKind::Port:
            return "port";
        default:
            return "input " + NumberText(std::int32_t{Input});
    }
}

std::string AlarmEvent::TextOfTime() const {
    const auto time = DurationText(std::chrono::duration_cast<Duration>(std::chrono::duration<double>(Value)));
    switch (Kind) {
        case AlarmKind::Silent:
            return Starts ? "no good value for " + time : "a good value again after " + time;
        case AlarmKind::Doubtful:
            return Starts ? "doubtful values for " + time : "no doubtful value any more after " + time;
        default:
            return Starts ? "the port has failed for " + time : "the port works again after " + time;
    }
}

std::string AlarmEvent::Text() const {
    if (Withdrawn) return "the limit was taken away";
    if (Kind == AlarmKind::Input) return KindText() + (Value != 0 ? " is on" : " is off");
    if (IsOfTime()) return TextOfTime();
    const std::string side = Kind == AlarmKind::High ? "above" : "below";
    return DegreesText(Value) + " is " + (Starts ? "" : "no longer ") + side + " the limit of " + DegreesText(Limit);
}

}  // namespace orvix::station
