#include "host/checksum.h"

#include <array>
#include <cstddef>

namespace orvix {

namespace {

constexpr std::uint32_t kReflectedPolynomial = 0xEDB88320;

constexpr std::array<std::uint32_t, 256> Remainders() {
    std::array<std::uint32_t, 256> remainders{};
    for (std::uint32_t byte = 0; byte < remainders.size(); ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit)
            remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? kReflectedPolynomial : 0);
        remainders[byte] = remainder;
    }
    return remainders;
}

constexpr auto kRemainders = Remainders();

}  // namespace

std::uint32_t Crc32(ByteView bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes)
        crc = kRemainders[(crc ^ byte) & 0xFF] ^ crc >> 8;
    return ~crc;
}

}  // namespace orvix
