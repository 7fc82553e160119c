#include "station/library/folders.h"

#include <cstdlib>
#include <filesystem>

#include "station/library/library.h"

namespace orvix::station {
namespace {

constexpr char kApplication[] = "nimbo1";

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
    const auto data = WithSlash(dataOption.empty() ? XdgFolder("XDG_DATA_HOME", ".local/share") / kApplication
                                                   : std::filesystem::path(dataOption));
    return {.Data = data,
            .Configuration = WithSlash(XdgFolder("XDG_CONFIG_HOME", ".config") / kApplication),
            .Library = WithSlash(ProgramFolder()),
            .Database = data};
}

}  // namespace orvix::station
