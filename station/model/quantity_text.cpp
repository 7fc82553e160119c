#include "station/model/quantity_text.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace orvix::station {

std::string FixedText(double value, int decimals) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(decimals) << value;
    return out.str();
}

std::string PercentText(double share) {
    if (share > 0 && share < 1) share = std::clamp(share, 0.001, 0.999);
    return FixedText(share * 100, 1);
}

std::string MillisecondsText(Duration time) {
    const double milliseconds = std::chrono::duration<double, std::milli>(time).count();
    return FixedText(milliseconds, milliseconds < 10 ? 1 : 0);
}

std::string TimeText(Duration time) {
    static constexpr struct {
        Duration Length;
        const char* Unit;
        Duration From;
    } kUnits[] = {
        {std::chrono::hours(24), " days", std::chrono::hours(48)},
        {std::chrono::hours(1), " h", std::chrono::hours(2)},
        {std::chrono::minutes(1), " min", std::chrono::minutes(2)},
        {std::chrono::seconds(1), " s", std::chrono::seconds(1)},
    };
    for (const auto& unit : kUnits) {
        if (time >= unit.From) return std::to_string(time / unit.Length) + unit.Unit;
    }
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(time).count()) + " ms";
}

}  // namespace orvix::station
