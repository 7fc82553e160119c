#pragma once

#include <string>

#include "station/library/bus_services.h"

namespace orvix::station {

/// The folders of this user: configuration and data by the XDG rules, data elsewhere when `dataOption` is not empty.
/// All absolute, ending with "/".
StationFolders FindFolders(const std::string& dataOption);

}  // namespace orvix::station
