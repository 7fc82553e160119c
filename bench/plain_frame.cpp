#include "bench/plain_frame.h"

namespace orvix::bench {
namespace {

char Xor(std::string_view bytes) {
    char sum = 0;
    for (const char byte : bytes)
        sum = static_cast<char>(sum ^ byte);
    return sum;
}

}  // namespace

std::string PlainBuild(std::uint8_t address, std::string_view code, std::string_view payload) {
    const std::size_t inner = 2 + code.size() + payload.size();
    std::string frame;
    frame.reserve(inner + 5);
    frame += '\x1D';
    frame += static_cast<char>(inner);
    frame += static_cast<char>(address);
    frame += static_cast<char>(payload.size());
    frame += code;
    frame += payload;
    frame += Xor(std::string_view(frame).substr(3));
    frame += Xor(std::string_view(frame).substr(1));
    frame += '\x03';
    return frame;
}

std::optional<std::string> PlainCheck(std::string_view frame, std::uint8_t address) {
    if (frame.size() < 2) return std::nullopt;
    const std::size_t inner = static_cast<std::uint8_t>(frame[1]);
    if (frame.size() < inner + 5 || inner < 4) return std::nullopt;
    if (frame[0] != '\x1D' || frame[inner + 4] != '\x03') return std::nullopt;
    if (static_cast<std::uint8_t>(frame[2]) != address) return std::nullopt;
    if (frame[5] == 0 && frame[6] == '\xC9') return std::nullopt;
    const std::size_t payload = static_cast<std::uint8_t>(frame[3]);
    if (payload + 4 > inner) return std::nullopt;
    if (Xor(frame.substr(3, payload + 4)) != 0) return std::nullopt;
    return std::string(frame.substr(6, payload));
}

}  // namespace orvix::bench
