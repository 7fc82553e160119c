#pragma once

#include <cstddef>
#include <string>

namespace orvix::platform {

/// That many letters and digits, each drawn evenly from the system's source of secrets.
std::string RandomText(std::size_t length);

}  // namespace orvix::platform
