#include "platform/trace_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "host/error.h"
#include "platform/unix_socket.h"

namespace orvix::platform {
namespace {

constexpr char kFolderName[] = "nimbo1";
constexpr char kSocketName[] = "/trace";
constexpr mode_t kOwnerOnlyFolder = 0700;

/// Whether a folder is the user's own and closed to others: they can neither listen in it nor put a socket there.
bool IsPrivate(const std::string& folder) {
    struct stat status {};
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
           (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

}  // namespace

std::string TraceFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && *runtime == '/' && IsPrivate(runtime)) return std::string(runtime) + "/" + kFolderName;
    return std::string("/tmp/") + kFolderName + "-" + std::to_string(::geteuid());
}

TraceListener::TraceListener(const std::string& folder)
    : m_Path(folder + kSocketName), m_Socket(NewUnixSocket(SOCK_DGRAM)) {
    if (::mkdir(folder.c_str(), kOwnerOnlyFolder) != 0 && errno != EEXIST) {
        throw SystemError("folder " + folder + " cannot be created", errno);
    }
    if (!IsPrivate(folder)) throw Error(errors::General, "folder " + folder + " is not private to you");
    // Of two viewers that start at once the second must find the first's socket in use.
    const FileDescriptor lock = LockFolder(folder);
    if (ConnectSocket(NewUnixSocket(SOCK_DGRAM), m_Path))
        throw Error(errors::General, "a trace viewer is running already");
    ::unlink(m_Path.c_str());
    if (!BindSocket(m_Socket, m_Path)) throw SystemError("trace socket " + m_Path, errno);
}

TraceListener::~TraceListener() {
    ::unlink(m_Path.c_str());
}

std::optional<std::string> TraceListener::Receive() {
    std::string line(kLongestTraceLine, '\0');
    const ssize_t size = ::recv(m_Socket.Get(), line.data(), line.size(), 0);
    if (size < 0) return std::nullopt;
    line.resize(static_cast<std::size_t>(size));
    return line;
}

SocketTraceViewer::SocketTraceViewer(std::int64_t moduleHandle, std::string folder)
    : m_ModuleHandle(moduleHandle),
      m_Folder(std::move(folder)),
      m_ProgramName(std::filesystem::read_symlink("/proc/self/exe").filename()) {}

bool SocketTraceViewer::Found() {
    std::call_once(m_Searched, [this] { Attempt([this] { Search(); }); });
    return m_Socket.IsOpen();
}

void SocketTraceViewer::Search() {
    if (!IsPrivate(m_Folder)) return;
    FileDescriptor socket = NewUnixSocket(SOCK_DGRAM);
    if (ConnectSocket(socket, m_Folder + kSocketName)) m_Socket = std::move(socket);
}

bool SocketTraceViewer::Send(const std::string& line, Duration limit) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + limit;
    std::size_t size = std::min(line.size(), kLongestTraceLine);
    for (;;) {
        if (::send(m_Socket.Get(), line.data(), size, MSG_NOSIGNAL) >= 0) return true;
        if (errno == EMSGSIZE) {
            size /= 2;
            continue;
        }
        if (errno != EAGAIN && errno != EINTR) return false;
        const auto left = std::chrono::floor<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0) return false;
        pollfd writable{m_Socket.Get(), POLLOUT, 0};
        ::poll(&writable, 1, static_cast<int>(left.count()));
    }
}

}  // namespace orvix::platform
