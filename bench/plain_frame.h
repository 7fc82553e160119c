#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvix::bench {

/// The same frames as devices/protocol/frame.h, built and checked a byte at a time.
std::string PlainBuild(std::uint8_t address, std::string_view code, std::string_view payload);
std::optional<std::string> PlainCheck(std::string_view frame, std::uint8_t address);

}  // namespace orvix::bench
