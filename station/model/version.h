#pragma once

namespace orvix::station {

inline constexpr char kVersion[] = "0.1.0";

}  // namespace orvix::station
