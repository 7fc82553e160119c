#include "platform/unix_socket.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>

#include "host/error.h"

namespace orvix::platform {
namespace {

bool Apply(int (*call)(int, const sockaddr*, socklen_t), const FileDescriptor& socket, const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) throw SystemError("socket " + path, ENAMETOOLONG);
    path.copy(address.sun_path, path.size());
    return call(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

}  // namespace

FileDescriptor NewUnixSocket(int type) {
    FileDescriptor made(::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!made.IsOpen()) throw SystemError("no local socket", errno);
    return made;
}

bool BindSocket(const FileDescriptor& socket, const std::string& path) {
    return Apply(::bind, socket, path);
}

bool ConnectSocket(const FileDescriptor& socket, const std::string& path) {
    return Apply(::connect, socket, path);
}

}  // namespace orvix::platform
