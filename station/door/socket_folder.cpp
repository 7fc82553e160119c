#include "station/door/socket_folder.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "host/error.h"
#include "platform/unix_socket.h"

namespace orvix::station {
namespace {

// Clients that wait to be served.
constexpr int kBacklog = SOMAXCONN;

}  // namespace

SocketFolder::SocketFolder(const std::string& folder)
    : m_Folder(folder), m_Opened(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (!m_Opened.IsOpen()) throw SystemError("folder " + folder + " cannot be opened", errno);
}

std::string SocketFolder::PathOf(const std::string& name) const {
    return "/proc/self/fd/" + std::to_string(m_Opened.Get()) + "/" + name;
}

std::vector<std::string> SocketFolder::Names() const {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(m_Folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const auto name = entry->path().filename().string();
        if (name.ends_with(".sock")) names.push_back(name);
    }
    if (error) throw SystemError("folder " + m_Folder + " cannot be read", error.value());
    std::sort(names.begin(), names.end());
    return names;
}

platform::FileDescriptor SocketFolder::Listen(const std::string& name) const {
    auto socket = platform::NewUnixSocket(SOCK_STREAM);
    Remove(name);
    // Before it has a path, so that it is at no moment open to others.
    if (::fchmod(socket.Get(), S_IRUSR | S_IWUSR) != 0 || !platform::BindSocket(socket, PathOf(name)) ||
        ::listen(socket.Get(), kBacklog) != 0) {
        throw SystemError("no socket " + m_Folder + name, errno);
    }
    return socket;
}

void SocketFolder::Remove(const std::string& name) const {
    ::unlinkat(m_Opened.Get(), name.c_str(), 0);
}

std::string ReplaySocket() {
    return "replay-" + std::to_string(::getpid()) + ".sock";
}

}  // namespace orvix::station
