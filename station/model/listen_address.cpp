#include "station/model/listen_address.h"

#include <netinet/in.h>

#include <cstring>

namespace orvix::station {

Addresses ParseListenAddress(const std::string& where) {
    const auto colon = where.rfind(':');
    if (colon == std::string::npos || colon == 0) return nullptr;
    auto host = where.substr(0, colon);
    const auto port = where.substr(colon + 1);
    if (port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos) return nullptr;
    if (std::stoi(port) < 1 || std::stoi(port) > 65535) return nullptr;
    if (host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    return ::getaddrinfo(host.c_str(), port.c_str(), &hints, &list) == 0 ? Addresses(list) : nullptr;
}

bool IsLoopback(const addrinfo& address) {
    if (address.ai_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, address.ai_addr, sizeof(four));
        return ntohl(four.sin_addr.s_addr) >> 24U == 127;
    }
    sockaddr_in6 six{};
    std::memcpy(&six, address.ai_addr, sizeof(six));
    return IN6_IS_ADDR_LOOPBACK(&six.sin6_addr) != 0;
}

}  // namespace orvix::station
