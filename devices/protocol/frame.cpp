#include "devices/protocol/frame.h"

#include "devices/protocol/basOrvixNB1.h"

namespace orvix {

namespace {

constexpr char kEndByte = '\x03';
constexpr std::string_view kRefusalPattern("\x00\xC9", 2);
constexpr std::size_t kRefusalOffset = 2;

constexpr std::size_t kLengthOffset = 1;
constexpr std::size_t kAddressOffset = 2;
constexpr std::size_t kInnerOffset = 3;

constexpr std::size_t kReplyCodeLength = 2;
constexpr std::size_t kInnerOverhead = 2;  // payload count and checksum
constexpr std::size_t kMinReplyInner = kInnerOverhead + kReplyCodeLength;
constexpr std::size_t kMaxInner = 255;
constexpr std::int32_t kMaxAddress = 255;

char Byte(std::size_t value) {
    return static_cast<char>(static_cast<std::uint8_t>(value));
}

std::size_t Number(char byte) {
    return static_cast<std::uint8_t>(byte);
}

/// Inner packet of the frame that a buffer begins with; nothing when the frame is incomplete or not delimited.
std::optional<std::string_view> InnerPacket(std::string_view buffer) {
    const auto length = FrameLength(buffer);
    if (!length || buffer.size() < *length) return std::nullopt;
    if (buffer.front() != kStartByte || buffer[*length - 1] != kEndByte) return std::nullopt;
    return buffer.substr(kInnerOffset, *length - kFrameOverhead);
}

/// A checksum makes the XOR of what it covers zero.
bool IsOuterChecksumRight(std::string_view frame, std::size_t innerLength) {
    return XorOf(frame.substr(kLengthOffset, kInnerOffset - kLengthOffset + innerLength + 1)) == 0;
}

}  // namespace

std::string BuildFrame(std::int32_t address, std::string_view code, std::string_view payload) {
    if (address < 0 || address > kMaxAddress) {
        throw Error(errors::Overflow, "device address " + std::to_string(address) + " is outside 0 to 255");
    }
    const std::size_t innerLength = kInnerOverhead + code.size() + payload.size();
    if (innerLength > kMaxInner) {
        throw Error(errors::Overflow, "payload of " + std::to_string(payload.size()) + " bytes does not fit a frame");
    }
    const char head[] = {kStartByte, Byte(innerLength), Byte(static_cast<std::size_t>(address)), Byte(payload.size())};
    std::string frame;
    frame.reserve(innerLength + kFrameOverhead);
    frame.append(head, sizeof(head)).append(code).append(payload);
    frame.push_back(Byte(XorOf(std::string_view(frame).substr(kInnerOffset))));
    // The XOR of length, address and inner packet: with its checksum, the inner packet comes to zero.
    frame.push_back(Byte(innerLength ^ static_cast<std::size_t>(address)));
    frame.push_back(kEndByte);
    return frame;
}

std::optional<std::size_t> FrameLength(std::string_view buffer) {
    if (buffer.size() <= kLengthOffset) return std::nullopt;
    return Number(buffer[kLengthOffset]) + kFrameOverhead;
}

std::optional<std::int32_t> FrameAddress(std::string_view buffer) {
    if (buffer.size() <= kAddressOffset) return std::nullopt;
    return static_cast<std::int32_t>(Number(buffer[kAddressOffset]));
}

Reply CheckReply(std::string_view buffer, std::int32_t requestAddress) {
    auto reply = ParseReply(buffer);
    if (reply.address != 0 && requestAddress != 0 && reply.address != requestAddress) {
        reply.error = errors::BadFrame;
        reply.payload.clear();
    }
    return reply;
}

Reply ParseReply(std::string_view buffer) {
    Reply reply{.error = errors::BadFrame, .payload = {}, .code = {}};
    const auto inner = InnerPacket(buffer);
    if (!inner) return reply;
    reply.address = *FrameAddress(buffer);
    if (inner->size() < kMinReplyInner) return reply;
    reply.code = inner->substr(1, kReplyCodeLength);
    reply.outerChecksumOk = IsOuterChecksumRight(buffer, inner->size());
    const std::size_t payloadLength = Number(inner->front());
    if (inner->substr(kRefusalOffset, kRefusalPattern.size()) == kRefusalPattern) {
        reply.error = errors::Refused;
    } else if (payloadLength + kMinReplyInner > inner->size()) {
        reply.error = errors::BadFrame;
    } else if (XorOf(inner->substr(0, payloadLength + kMinReplyInner)) != 0) {
        // The checksum makes the XOR of the packet zero.
        reply.error = errors::Checksum;
    } else {
        reply.error = errors::None;
        reply.payload = inner->substr(1 + kReplyCodeLength, payloadLength);
    }
    return reply;
}

std::optional<Frame> ParseRequest(std::string_view buffer) {
    const auto inner = InnerPacket(buffer);
    if (!inner || inner->size() < kInnerOverhead) return std::nullopt;
    const std::size_t payloadLength = Number(inner->front());
    if (payloadLength + kInnerOverhead > inner->size()) return std::nullopt;
    if (XorOf(*inner) != 0 || !IsOuterChecksumRight(buffer, inner->size())) return std::nullopt;
    const std::size_t codeLength = inner->size() - kInnerOverhead - payloadLength;
    return Frame{*FrameAddress(buffer), std::string(inner->substr(1, codeLength)),
                 std::string(inner->substr(1 + codeLength, payloadLength))};
}

}  // namespace orvix
