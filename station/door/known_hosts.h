#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvix::station {

/// Whether a request's header "Host" names this station: by a numeric address, as "localhost", or by one of the names
/// that it is known by. A page of somebody else's that has its own name lead here ("DNS rebinding") is known by that
/// name. A port behind it is ignored, as is case.
bool IsKnownHost(std::string_view host, const std::vector<std::string>& names);

}  // namespace orvix::station
