#pragma once

#include <string>

namespace orvix::station {

/// A new random UUID (version 4): "0f1e2d3c-4b5a-4978-8695-a4b3c2d1e0ff".
std::string NewUuid();

}  // namespace orvix::station
