#pragma once

namespace orvix::station {

// What a running station is asked for its health at its control socket.

inline constexpr char kHealthRequest[] = "health";           ///< as text for people
inline constexpr char kHealthJsonRequest[] = "health json";  ///< as JSON lines

}  // namespace orvix::station
