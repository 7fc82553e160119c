#pragma once

#include <cstdint>
#include <string>

namespace orvix::station {

/// What is to be written, and where.
struct ExportTarget {
    std::string File;         ///< absolute path, or "-" for standard output
    std::int32_t Format = 0;  ///< kFileFormatText, kFileFormatReport or kFileFormatDevice
};

}  // namespace orvix::station
