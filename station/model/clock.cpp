#include "station/model/clock.h"

#include <chrono>

#include "host/date.h"

namespace orvix::station {

std::int64_t UnixMilliseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::string IsoText(std::int64_t unixMilliseconds) {
    const auto milliseconds = std::to_string(1000 + unixMilliseconds % 1000).substr(1);
    const auto seconds = FromUnixMilliseconds(unixMilliseconds - unixMilliseconds % 1000);
    return Format(seconds, "yyyy-mm-dd") + "T" + Format(seconds, "hh:nn:ss") + "." + milliseconds + "Z";
}

std::string ClockText(std::int64_t unixMilliseconds) {
    return Format(FromUnixMilliseconds(unixMilliseconds), "hh:nn:ss");
}

}  // namespace orvix::station
