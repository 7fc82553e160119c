#pragma once

#include <functional>

#include "station/commands/commands.h"

namespace orvix::station {

/// Reads the devices of a bus, each once, without a station, and has each reading shown. `variableOf` tells what is
/// read of a device. Returns the exit status: whether all have a value.
int ReadOnLine(StationResources& station, MainLoop& loop, const BusSetup& setup, Listener& listener,
               const std::function<ORVIXCNB1_VARS(const DeviceSetup&)>& variableOf,
               const std::function<void(const Reading&)>& show);

}  // namespace orvix::station
