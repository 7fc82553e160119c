#include "station/library/folders.h"

#include <cstdlib>
#include <filesystem>
#include <limits>

#include "host/text.h"
#include "station/library/library.h"

namespace orvix::station {
namespace {

constexpr char kApplication[] = "nimbo1";
constexpr char kPortSection[] = "Ports";
constexpr char kPortCount[] = "Count";

std::filesystem::path XdgFolder(const char* variable, const char* belowHome) {
    const char* set = std::getenv(variable);
    if (set != nullptr && *set == '/') return set;
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home == nullptr || *home == '\0' ? "/" : home) / belowHome;
}

std::string WithSlash(const std::filesystem::path& folder) {
    return (std::filesystem::absolute(folder) / "").lexically_normal().string();
}

}  // namespace

StationFolders FindFolders(const std::string& dataOption) {
    return {
        .Data = WithSlash(dataOption.empty() ? XdgFolder("XDG_DATA_HOME", ".local/share") / kApplication
                                             : std::filesystem::path(dataOption)),
        .Configuration = WithSlash(XdgFolder("XDG_CONFIG_HOME", ".config") / kApplication),
        .Library = WithSlash(ProgramFolder()),
    };
}

std::int16_t PortNumberOf(Settings& settings, const std::string& path) {
    std::int64_t number = LeadingNumber(settings.GetSetting(kApplication, kPortSection, path, ""));
    const bool isNew = number < 1;
    if (isNew)
        number = LeadingNumber(settings.GetSetting(kApplication, kPortSection, kPortCount, "0")) + std::int64_t{1};
    if (number < 1 || number > std::numeric_limits<std::int16_t>::max()) {
        throw Error(errors::General, "the settings give port " + path + " the number " + std::to_string(number));
    }
    if (isNew) {
        settings.SaveSetting(kApplication, kPortSection, kPortCount, std::to_string(number));
        settings.SaveSetting(kApplication, kPortSection, path, std::to_string(number));
    }
    return static_cast<std::int16_t>(number);
}

}  // namespace orvix::station
