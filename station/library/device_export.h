#pragma once

#include <cstdint>
#include <optional>

#include "host/variant.h"

namespace orvix {
class iOrvixDevice;
}

namespace orvix::station {

/// What a file of a device has. `format`: kFileFormatText, kFileFormatReport or kFileFormatDevice. Nothing when the
/// device has reported why there is none.
std::optional<ByteArray> FileOf(iOrvixDevice& device, std::int32_t format);

}  // namespace orvix::station
