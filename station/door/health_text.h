#pragma once

#include <string>

#include "station/json/json.h"
#include "station/run/health.h"

namespace orvix::station {

/// For people: for each bus a table with a row for each address, and below it what is wrong.
std::string PlainHealth(const StationHealth& health);

/// For programs: "buses", each a "bus_health" with a "device_health" for each of its "devices", and the "history".
Json HealthJson(const StationHealth& health);

}  // namespace orvix::station
