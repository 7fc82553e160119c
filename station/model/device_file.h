#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>

#include "host/iOrvixDevice.h"
#include "host/variant.h"
#include "station/model/reading.h"

namespace orvix::station {

/// A device as a file.
struct DeviceFile {
    ByteArray Bytes{};
    std::optional<Failure> Error{};  ///< why there is none
};

struct DeviceFileFormat {
    const char* Name;
    std::int32_t Format;
    const char* MediaType;
};

inline constexpr DeviceFileFormat kDeviceFileFormats[] = {
    {"text", kFileFormatText, "text/plain"},
    {"report", kFileFormatReport, "application/pdf"},
    {"device", kFileFormatDevice, "application/octet-stream"},
};

/// Null when there is no such format.
inline const DeviceFileFormat* FormatNamed(std::string_view name) {
    const auto* format = std::find_if(std::begin(kDeviceFileFormats), std::end(kDeviceFileFormats),
                                      [&](const DeviceFileFormat& one) { return one.Name == name; });
    return format == std::end(kDeviceFileFormats) ? nullptr : format;
}

}  // namespace orvix::station
