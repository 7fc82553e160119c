#include "devices/protocol/frame.h"

#include "devices/protocol/basOrvixNB1.h"

namespace orvix {

namespace {

constexpr char kStartByte = '\x1D';
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

Reply CheckReply(std::string_view buffer, std::int32_t requestAddress) {
    const auto inner = InnerPacket(buffer);
    if (!inner) return {errors::BadFrame, {}};
    const auto replyAddress = static_cast<std::int32_t>(Number(buffer[kAddressOffset]));
    if (replyAddress != 0 && requestAddress != 0 && replyAddress != requestAddress) return {errors::BadFrame, {}};
    if (inner->size() < kMinReplyInner) return {errors::BadFrame, {}};
    if (inner->substr(kRefusalOffset, kRefusalPattern.size()) == kRefusalPattern) return {errors::Refused, {}};
    const std::size_t payloadLength = Number(inner->front());
    if (payloadLength + kMinReplyInner > inner->size()) return {errors::BadFrame, {}};
    // The checksum makes the XOR of the packet zero.
    if (XorOf(inner->substr(0, payloadLength + kMinReplyInner)) != 0) return {errors::Checksum, {}};
    return {errors::None, std::string(inner->substr(1 + kReplyCodeLength, payloadLength))};
}

std::optional<Frame> ParseRequest(std::string_view buffer) {
    const auto inner = InnerPacket(buffer);
    if (!inner || inner->size() < kInnerOverhead) return std::nullopt;
    const std::size_t payloadLength = Number(inner->front());
    if (payloadLength + kInnerOverhead > inner->size()) return std::nullopt;
    // Each checksum makes the XOR of what it covers zero.
    const std::string_view covered = buffer.substr(kLengthOffset, kInnerOffset - kLengthOffset + inner->size() + 1);
    if (XorOf(*inner) != 0 || XorOf(covered) != 0) return std::nullopt;
    const std::size_t codeLength = inner->size() - kInnerOverhead - payloadLength;
    return Frame{static_cast<std::int32_t>(Number(buffer[kAddressOffset])), std::string(inner->substr(1, codeLength)),
                 std::string(inner->substr(1 + codeLength, payloadLength))};
}

}  // namespace orvix
