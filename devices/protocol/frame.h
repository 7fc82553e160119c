#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/error.h"

namespace orvix {

// Frames of the device bus. Request and reply have the same layout:
//
//   offset   bytes  content
//   0        1      0x1D
//   1        1      L, length of the inner packet
//   2        1      device address
//   3        L      inner packet
//   3 + L    1      XOR of L, address and inner packet
//   4 + L    1      0x03
//
// Inner packet with a code of C bytes (2, or none in a request of a variable that has no command):
//
//   0        1      N, length of the payload
//   1        C      command code, high byte first
//   1 + C    N      payload
//   1 + C+N  1      XOR of all preceding inner bytes

inline constexpr char kStartByte = '\x1D';
/// Bytes of a frame around its inner packet.
inline constexpr std::size_t kFrameOverhead = 5;
/// Longest payload behind a code of two bytes.
inline constexpr std::size_t kMaxPayload = 251;

/// A frame taken apart.
struct Frame {
    std::int32_t address = 0;
    std::string code;
    std::string payload;
};

/// Outcome of the check of a reply: `error` is None, BadFrame, Refused or Checksum; `payload` is empty after an error.
/// The rest tells of the frame what a check does not look at, as far as there is a frame; a BadFrame may have none.
struct Reply {
    ErrorNumber error = errors::None;
    std::string payload;
    std::int32_t address = 0;
    std::string code;              ///< its command code, two bytes
    bool outerChecksumOk = false;  ///< the outer checksum is right
};

/// A request, or what a device answers; the code of an answer has two bytes. Raises Overflow for an address outside
/// 0 to 255 and for code and payload that together exceed 253 bytes.
std::string BuildFrame(std::int32_t address, std::string_view code, std::string_view payload);

/// Bytes of the whole frame that a buffer begins with; nothing while its length byte is not there.
std::optional<std::size_t> FrameLength(std::string_view buffer);

/// The address in the frame that a buffer begins with; nothing while its byte is not there.
std::optional<std::int32_t> FrameAddress(std::string_view buffer);

/// Checks the reply at the beginning of a buffer; what follows it is ignored. The first of these checks that fails
/// tells the error:
///
///   BadFrame  start and end byte; the buffer holds the whole frame
///   BadFrame  the reply's address is the request's, unless either is 0
///   BadFrame  the inner packet has at least the 4 bytes of one without payload
///   Refused   inner bytes 2 and 3 (low byte of the code, first of the payload) are not 00 C9
///   BadFrame  the payload ends within the inner packet
///   Checksum  the inner checksum
///
/// The outer checksum and the code are not compared.
Reply CheckReply(std::string_view buffer, std::int32_t requestAddress);
/// The same for a reply of any address.
Reply ParseReply(std::string_view buffer);

/// What a device makes of a buffer: the request at its beginning, or nothing when the frame is incomplete, its start or
/// end byte or one of its checksums is wrong, or its payload does not fit the inner packet.
std::optional<Frame> ParseRequest(std::string_view buffer);

}  // namespace orvix
