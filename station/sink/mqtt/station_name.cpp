#include "station/sink/mqtt/station_name.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>

#include "host/characters.h"
#include "host/error.h"
#include "host/text.h"
#include "platform/atomic_file.h"
#include "platform/random_text.h"
#include "platform/regular_file.h"
#include "station/model/mqtt_setup.h"

namespace orvix::station {
namespace {

constexpr char kNameFile[] = "mqtt-station";
constexpr std::size_t kLongestNameFile = 256;
constexpr mode_t kReadableByAll = 0644;
constexpr std::size_t kRandomCharacters = 4;

std::string NewName() {
    char host[HOST_NAME_MAX + 1] = "";
    ::gethostname(host, HOST_NAME_MAX);
    std::string name = std::string(host) + "-" + platform::RandomText(kRandomCharacters);
    std::replace_if(
        name.begin(), name.end(),
        [](unsigned char c) { return std::isalnum(c) == 0 && c != '-' && c != '_' && c != '.'; }, '-');
    return name;
}

/// Empty when there is none.
std::string NameIn(const std::string& file) {
    try {
        auto name = BytesToText(platform::ReadRegularFile(file, kLongestNameFile));
        while (name.ends_with('\n'))
            name.pop_back();
        return IsTopicLevel(name) && Printable(name) == name ? name : std::string();
    } catch (const Error&) {
        return {};
    }
}

}  // namespace

std::string StationNameToTry(const std::string& folder) {
    const auto name = NameIn(folder + kNameFile);
    return name.empty() ? NewName() : name;
}

std::string KeptStationName(const std::string& folder, const std::function<void(const std::string&)>& tell) {
    const auto file = folder + kNameFile;
    auto name = NameIn(file);
    if (!name.empty()) return name;
    name = NewName();
    try {
        platform::WriteFileAtomically(file, TextToBytes(name + "\n"), kReadableByAll);
    } catch (const Error& error) {
        tell("MQTT: the station is called " + name + " until it ends; set mqtt.station: " + error.Description);
    }
    return name;
}

}  // namespace orvix::station
