#include "station/http/request_head.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <optional>

namespace orvix::station {
namespace {

std::string AddressText(const sockaddr* address) {
    if (address == nullptr) return {};
    char text[INET6_ADDRSTRLEN] = "";
    if (address->sa_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, address, sizeof(four));
        ::inet_ntop(AF_INET, &four.sin_addr, text, sizeof(text));
    } else if (address->sa_family == AF_INET6) {
        sockaddr_in6 six{};
        std::memcpy(&six, address, sizeof(six));
        ::inet_ntop(AF_INET6, &six.sin6_addr, text, sizeof(text));
    }
    return text;
}

std::optional<uid_t> LocalUser(int socket) {
    ucred credentials{};
    socklen_t size = sizeof(credentials);
    int family = 0;
    socklen_t familySize = sizeof(family);
    ::getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &family, &familySize);
    if (family != AF_UNIX || ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return {};
    return credentials.uid;
}

MHD_Result TakeHeader(void* taken, MHD_ValueKind, const char* name, const char* value) {
    auto& head = *static_cast<RequestHead*>(taken);
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    const std::string text = value == nullptr ? "" : value;
    head.Bytes += lower.size() + text.size();
    head.Request.Headers.emplace(lower, text);
    return MHD_YES;
}

MHD_Result TakeParameter(void* taken, MHD_ValueKind, const char* name, const char* value) {
    auto& head = *static_cast<RequestHead*>(taken);
    const std::string text = value == nullptr ? "" : value;
    head.Bytes += std::strlen(name) + text.size();
    head.Request.Query.emplace(name, text);
    return MHD_YES;
}

}  // namespace

int SocketOf(MHD_Connection* connection) {
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    return info == nullptr ? -1 : info->connect_fd;
}

std::string PeerOf(MHD_Connection* connection) {
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    return info == nullptr ? std::string() : AddressText(info->client_addr);
}

RequestHead HeadOf(MHD_Connection* connection, const char* path, const char* method) {
    RequestHead head;
    auto& request = head.Request;
    request.Method = method;
    request.Path = path;
    request.Peer = PeerOf(connection);
    request.User = LocalUser(SocketOf(connection));
    head.Bytes = request.Path.size();
    MHD_get_connection_values(connection, MHD_HEADER_KIND, &TakeHeader, &head);
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, &TakeParameter, &head);
    return head;
}

}  // namespace orvix::station
