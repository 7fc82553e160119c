#pragma once

#include <cstdint>
#include <string>

namespace orvix {
class iOrvixDevice;
}

namespace orvix::station {

/// What is to be written, and where.
struct ExportTarget {
    std::string File;         ///< absolute path
    std::int32_t Format = 0;  ///< kFileFormatText, kFileFormatReport or kFileFormatDevice
};

/// Saves a device beside the target, and moves the whole file to its place, so that a failure never costs the old one.
/// False when the device has reported why it wrote nothing. Raises SystemError when the file cannot be put in place and
/// General for a target that is not a regular file.
bool SaveDevice(iOrvixDevice& device, const ExportTarget& target);

}  // namespace orvix::station
