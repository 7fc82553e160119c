#pragma once

#include <string>
#include <vector>

#include "station/model/device_identity.h"

namespace orvix::station {

/// The devices that a history has, the one that was last at a place last; none when there is no history, or it cannot
/// be read. `SerialNumber` is empty of one that tells none.
std::vector<DeviceIdentity> IdentitiesInHistory(const std::string& file);

/// Those of the histories of a data folder, and then those of its host database, which raises Error.
std::vector<DeviceIdentity> KnownIdentities(const std::string& dataFolder, const std::string& databaseFolder);

}  // namespace orvix::station
