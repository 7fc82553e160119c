#include "station/door/known_hosts.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>

#include <algorithm>

namespace orvix::station {
namespace {

/// Without a port, and the brackets of an IPv6 address.
std::string NameIn(std::string_view host) {
    if (host.starts_with('[')) return std::string(host.substr(1, host.find(']') - 1));
    return std::string(host.substr(0, host.find(':')));
}

bool IsNumeric(const std::string& name) {
    in6_addr address{};
    return ::inet_pton(AF_INET, name.c_str(), &address) == 1 || ::inet_pton(AF_INET6, name.c_str(), &address) == 1;
}

}  // namespace

bool IsKnownHost(std::string_view host, const std::vector<std::string>& names) {
    const auto name = NameIn(host);
    const auto isName = [&](const std::string& known) { return ::strcasecmp(known.c_str(), name.c_str()) == 0; };
    return IsNumeric(name) || isName("localhost") || std::any_of(names.begin(), names.end(), isName);
}

}  // namespace orvix::station
