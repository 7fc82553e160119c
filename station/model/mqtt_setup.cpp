#include "station/model/mqtt_setup.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace orvix::station {
namespace {

constexpr int kPlainPort = 1883;
constexpr int kTlsPort = 8883;
constexpr int kLastPort = 65535;

/// Takes ":PORT" off the end, if it is there. Returns false when it is no port.
bool TakePort(std::string_view& rest, int& port) {
    const auto colon = rest.rfind(':');
    if (colon == std::string_view::npos || rest.ends_with(']')) return true;
    const auto digits = rest.substr(colon + 1);
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    rest = rest.substr(0, colon);
    return read.ec == std::errc() && read.ptr == digits.data() + digits.size() && port > 0 && port <= kLastPort;
}

bool IsHost(std::string_view host) {
    const auto isOfHost = [](char c) {
        return c > ' ' && c <= '~' && std::string_view("/@?#[]").find(c) == std::string_view::npos;
    };
    return !host.empty() && std::all_of(host.begin(), host.end(), isOfHost);
}

}  // namespace

std::optional<BrokerAddress> ParseBroker(const std::string& url) {
    constexpr std::string_view plain = "mqtt://";
    constexpr std::string_view tls = "mqtts://";
    BrokerAddress broker;
    broker.Tls = url.starts_with(tls);
    if (!broker.Tls && !url.starts_with(plain)) return std::nullopt;
    broker.Port = broker.Tls ? kTlsPort : kPlainPort;
    auto rest = std::string_view(url).substr(broker.Tls ? tls.size() : plain.size());
    if (rest.ends_with('/')) rest.remove_suffix(1);
    if (!TakePort(rest, broker.Port)) return std::nullopt;
    const bool isBracketed = rest.size() > 2 && rest.starts_with('[') && rest.ends_with(']');
    if (isBracketed) rest = rest.substr(1, rest.size() - 2);
    if (!IsHost(rest) || (!isBracketed && rest.find(':') != std::string_view::npos)) return std::nullopt;
    broker.Host = rest;
    return broker;
}

bool IsTopicLevel(const std::string& text) {
    return !text.empty() && text.find_first_of("/+#") == std::string::npos;
}

}  // namespace orvix::station
