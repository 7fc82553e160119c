#include "station/words/quantity_text.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace orvix::station {
namespace {

struct Unit {
    const char* Name;
    std::int64_t Seconds;
};

constexpr Unit kUnits[] = {{" d", 86400}, {" h", 3600}, {" min", 60}, {" s", 1}};

/// The largest unit that so many seconds, at least one, have.
const Unit* LargestUnit(std::int64_t seconds) {
    return std::find_if(std::begin(kUnits), std::end(kUnits), [&](const Unit& it) { return it.Seconds <= seconds; });
}

std::string InUnit(std::int64_t seconds, const Unit& unit) {
    return std::to_string(seconds / unit.Seconds) + unit.Name;
}

std::int64_t SecondsOf(Duration time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time).count();
}

std::string InMilliseconds(Duration time) {
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(time).count()) + " ms";
}

}  // namespace

std::string FixedText(double value, int decimals) {
    char text[400];
    return {text, std::to_chars(std::begin(text), std::end(text), value, std::chars_format::fixed, decimals).ptr};
}

std::string PercentText(double share) {
    if (share > 0 && share < 1) share = std::clamp(share, 0.001, 0.999);
    return FixedText(share * 100, 1);
}

std::string MillisecondsText(Duration time) {
    const double milliseconds = std::chrono::duration<double, std::milli>(time).count();
    return FixedText(milliseconds, milliseconds < 10 ? 1 : 0);
}

std::string DurationText(Duration time) {
    const auto seconds = SecondsOf(time);
    if (seconds < 1) return InMilliseconds(time);
    const auto* unit = LargestUnit(seconds);
    const auto text = InUnit(seconds, *unit);
    const auto* smaller = unit + 1;
    const auto rest = seconds % unit->Seconds;
    return smaller == std::end(kUnits) || rest < smaller->Seconds ? text : text + " " + InUnit(rest, *smaller);
}

std::string RoughText(Duration time) {
    const auto seconds = SecondsOf(time);
    if (seconds < 1) return InMilliseconds(time);
    return InUnit(seconds, seconds == 1 ? kUnits[3] : *LargestUnit(seconds / 2));
}

std::string AgeText(Duration age) {
    if (age < std::chrono::milliseconds(1500)) return "now";
    const auto seconds = SecondsOf(age);
    return InUnit(seconds, *LargestUnit(seconds));
}

}  // namespace orvix::station
