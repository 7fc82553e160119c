#pragma once

#include <cstdint>
#include <string>
#include "station/model/export_target.h"

namespace orvix {
class iOrvixDevice;
}

namespace orvix::station {

/// Saves a device beside the target, and moves the whole file to its place, so that a failure never costs the old one.
/// False when the device has reported why it wrote nothing. Raises SystemError when the file cannot be put in place and
/// General for a target that is not a regular file.
bool SaveDevice(iOrvixDevice& device, const ExportTarget& target);

}  // namespace orvix::station
