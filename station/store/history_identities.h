#pragma once

#include <string>
#include <vector>

#include "station/model/device_identity.h"

namespace orvix::station {

/// The devices that a history has, the one that was last at a place last; none when there is no history, or it cannot
/// be read. `SerialNumber` is empty of one that tells none.
std::vector<DeviceIdentity> IdentitiesInHistory(const std::string& file);

}  // namespace orvix::station
