#include "station/mqtt/topics.h"

#include <algorithm>
#include <string_view>

namespace orvix::station {
namespace {

std::string LevelOf(const std::string& name) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    constexpr unsigned kBase = 16;
    std::string level;
    for (const char c : name) {
        const bool isPlain = c >= ' ' && c <= '~' && std::string_view("%/+#").find(c) == std::string_view::npos;
        if (isPlain) {
            level += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        level += '%';
        level += kDigits[byte / kBase];
        level += kDigits[byte % kBase];
    }
    return level;
}

}  // namespace

std::string DeviceTopics(const std::string& id) {
    return "devices/" + id + "/";
}

std::string StateTopic(const std::string& id) {
    return DeviceTopics(id) + "state";
}

std::string AvailabilityTopic(const std::string& id) {
    return DeviceTopics(id) + "availability";
}

std::string AlarmTopic(const std::string& id, const std::string& kind) {
    auto level = kind;
    std::replace(level.begin(), level.end(), ' ', '-');
    return DeviceTopics(id) + "alarm/" + level;
}

std::string BusTopics(const std::string& bus) {
    return "buses/" + LevelOf(bus) + "/";
}

std::string BusHealthTopic(const std::string& bus) {
    return BusTopics(bus) + "health";
}

std::string BusAlarmTopic(const std::string& bus) {
    return BusTopics(bus) + "alarm/port";
}

}  // namespace orvix::station
