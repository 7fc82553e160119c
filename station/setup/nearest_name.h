#pragma once

#include <string>
#include <vector>

namespace orvix::station {

/// The name most like `key`; empty when none is.
std::string NearestName(const std::string& key, const std::vector<std::string>& names);

}  // namespace orvix::station
