#pragma once

#include <cstdint>
#include <string>
#include "station/model/export_target.h"

namespace orvix {
class iOrvixDevice;
}

namespace orvix::station {

/// Saves a device; a failure never costs the file that was there (see DocumentFile). False when the device has reported
/// why it wrote nothing. Raises SystemError when the target cannot be written.
bool SaveDevice(iOrvixDevice& device, const ExportTarget& target);

}  // namespace orvix::station
