#include <sys/socket.h>

#include <cerrno>

#include "host/error.h"
#include "station/http/http_server.h"
#include "station/model/listen_address.h"

namespace orvix::station {
namespace {

constexpr int kWaitingClients = 1024;
// Of what a client has not taken yet: the system would keep megabytes, which are made for those who take nothing.
constexpr int kWaitingBytes = 128 * 1024;

}  // namespace

platform::FileDescriptor ListenAt(const std::string& where) {
    const auto addresses = ParseListenAddress(where);
    if (!addresses) throw Error(errors::General, where + " is not ADDRESS:PORT");
    platform::FileDescriptor socket(
        ::socket(addresses->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP));
    const int on = 1;
    ::setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    // Those who connect inherit it.
    ::setsockopt(socket.Get(), SOL_SOCKET, SO_SNDBUF, &kWaitingBytes, sizeof(kWaitingBytes));
    if (::bind(socket.Get(), addresses->ai_addr, addresses->ai_addrlen) != 0 ||
        ::listen(socket.Get(), kWaitingClients) != 0) {
        throw SystemError("cannot listen at " + where, errno);
    }
    return socket;
}

}  // namespace orvix::station
