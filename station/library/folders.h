#pragma once

#include <string>

#include "host/stores.h"
#include "station/library/bus_services.h"

namespace orvix::station {

/// The folders of this user: configuration and data by the XDG rules, data elsewhere when `dataOption` is not empty.
/// All absolute, ending with "/".
StationFolders FindFolders(const std::string& dataOption);

/// The number that a port's path bears in variable tags. A path keeps the number it was given first.
std::int16_t PortNumberOf(Settings& settings, const std::string& path);

}  // namespace orvix::station
