#include "station/model/version.h"

#include <array>
#include <utility>

namespace orvix::station {

const char* const kVersion = NB1_VERSION;

std::string VersionText() {
    constexpr std::array<std::pair<const char*, int>, 5> kFormats = {{{"history", kHistoryVersion},
                                                                      {"recording", kRecordingVersion},
                                                                      {"device file", kDeviceFileVersion},
                                                                      {"API", kApiVersion},
                                                                      {"MQTT topics", kTopicsVersion}}};
    const std::string commit = NB1_COMMIT;
    std::string text = std::string("nimbo1 ") + kVersion + "\n";
    if (!commit.empty()) text += "commit " + commit + "\n";
    text += "formats:";
    const char* separator = " ";
    for (const auto& [format, version] : kFormats) {
        text.append(std::exchange(separator, ", ")).append(format).append(" ").append(std::to_string(version));
    }
    return text + "\nfeatures: page, metrics, MQTT, PDF, service manager\n";
}

}  // namespace orvix::station
