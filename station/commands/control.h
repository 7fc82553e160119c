#pragma once

#include <functional>
#include <memory>
#include <string>

#include "station/door/control_server.h"
#include "station/run/health.h"
#include "station/run/output.h"

namespace orvix::station {

/// Opens a station's control socket in its data folder; one that cannot be opened is said, and keeps nobody from
/// working. `home` is where `health` is asked.
std::unique_ptr<ControlServer> OpenControl(const std::string& dataFolder, Apartment& home,
                                           const std::function<StationHealth()>& health, Output& output);

}  // namespace orvix::station
