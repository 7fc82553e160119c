#pragma once

#include <cstdint>

#include "host/variant.h"

namespace orvix {

/// CRC-32 as in IEEE 802.3: polynomial 0x04C11DB7, bits of a byte from the lowest on, register begun with ones and
/// inverted at the end. That of the text "123456789" is 0xCBF43926.
std::uint32_t Crc32(ByteView bytes);

}  // namespace orvix
