#pragma once

#include <string>

#include "station/run/health.h"

namespace orvix::station {

/// For people: for each bus a table with a row for each address, and below it what is wrong.
std::string PlainHealth(const StationHealth& health);

/// For programs: one JSON object a line, a "bus_health" for each bus followed by a "device_health" for each of its
/// addresses.
std::string JsonHealth(const StationHealth& health);

}  // namespace orvix::station
