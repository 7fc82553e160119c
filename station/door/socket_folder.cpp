#include "station/door/socket_folder.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "host/checksum.h"
#include "host/error.h"
#include "platform/unix_socket.h"

namespace orvix::station {
namespace {

// Clients that wait to be served.
constexpr int kBacklog = SOMAXCONN;

constexpr char kServiceFolder[] = "/run/nimbo1/";

/// Tells data folders apart, whatever names they have.
std::string PrefixOf(const std::string& dataFolder) {
    std::error_code error;
    auto path = std::filesystem::weakly_canonical(dataFolder, error).string();
    if (error) path = dataFolder;
    if (path.ends_with('/')) path.pop_back();
    std::array<char, 16> text{};
    const auto sum = Crc32({reinterpret_cast<const std::uint8_t*>(path.data()), path.size()});
    return {text.data(), static_cast<std::size_t>(std::snprintf(text.data(), text.size(), "%08x-", sum))};
}

/// The folder that a variable of the environment names; of several the first.
std::string FolderIn(const char* variable) {
    const char* set = std::getenv(variable);
    if (set == nullptr || *set != '/') return {};
    const std::string folders = set;
    return folders.substr(0, folders.find(':')) + "/";
}

}  // namespace

std::vector<StationPlace> PlacesToListen(const std::string& dataFolder) {
    std::vector<StationPlace> places{{dataFolder, ""}};
    if (const auto own = FolderIn("RUNTIME_DIRECTORY"); !own.empty()) places.push_back({own, PrefixOf(dataFolder)});
    return places;
}

std::vector<StationPlace> PlacesToAsk(const std::string& dataFolder) {
    auto places = PlacesToListen(dataFolder);
    const auto add = [&](const std::string& folder) {
        const auto isThere = [&](const StationPlace& place) { return place.Folder == folder; };
        if (std::none_of(places.begin(), places.end(), isThere)) places.push_back({folder, PrefixOf(dataFolder)});
    };
    add(kServiceFolder);
    if (const auto user = FolderIn("XDG_RUNTIME_DIR"); !user.empty()) add(user + "nimbo1/");
    return places;
}

SocketFolder::SocketFolder(StationPlace place)
    : m_Place(std::move(place)), m_Opened(::open(m_Place.Folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (!m_Opened.IsOpen()) throw SystemError("folder " + m_Place.Folder + " cannot be opened", errno);
}

std::string SocketFolder::PathOf(const std::string& name) const {
    return "/proc/self/fd/" + std::to_string(m_Opened.Get()) + "/" + m_Place.Prefix + name;
}

std::vector<std::string> SocketFolder::Names() const {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(m_Place.Folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const auto name = entry->path().filename().string();
        const auto& prefix = m_Place.Prefix;
        if (name.starts_with(prefix) && name.ends_with(".sock")) names.push_back(name.substr(prefix.size()));
    }
    if (error) throw SystemError("folder " + m_Place.Folder + " cannot be read", error.value());
    std::sort(names.begin(), names.end());
    return names;
}

platform::FileDescriptor SocketFolder::Listen(const std::string& name) const {
    auto socket = platform::NewUnixSocket(SOCK_STREAM);
    Remove(name);
    // Before it has a path, so that it is at no moment open to others.
    if (::fchmod(socket.Get(), S_IRUSR | S_IWUSR) != 0 || !platform::BindSocket(socket, PathOf(name)) ||
        ::listen(socket.Get(), kBacklog) != 0) {
        throw SystemError("no socket " + m_Place.Folder + m_Place.Prefix + name, errno);
    }
    return socket;
}

void SocketFolder::Remove(const std::string& name) const {
    ::unlinkat(m_Opened.Get(), (m_Place.Prefix + name).c_str(), 0);
}

std::string ReplaySocket() {
    return "replay-" + std::to_string(::getpid()) + ".sock";
}

}  // namespace orvix::station
