#pragma once

#include <chrono>
#include <cstdint>

namespace orvix {

// The line of the device bus, always the same.

inline constexpr std::int32_t kSerialPortType = 2;  ///< the one port type: a serial port by its number
inline constexpr std::int64_t kBaud = 9600;
inline constexpr char kLineSettings[] = "9600,n,8,1";
/// One start bit, eight data bits, no parity, one stop bit.
inline constexpr std::int64_t kBitsPerByte = 10;
inline constexpr std::chrono::nanoseconds kByteTime =
    kBitsPerByte * std::chrono::nanoseconds(std::chrono::seconds(1)) / kBaud;
/// An answer is waited for as long as so many per-character time factors.
inline constexpr std::int32_t kReplyTimeFactors = 5;

}  // namespace orvix
