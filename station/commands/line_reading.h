#pragma once

#include <functional>

#include "station/commands/commands.h"

namespace orvix::station {

/// Reads the devices of a bus, each once, without a station, and has each reading shown. `read` is called on the
/// thread of the bus. With `identifies` those that have a value are asked for their serial number too, so that readings
/// have the identifier that a station would give them; it is empty when that would be a new number. Returns the exit
/// status: whether all have a value.
int ReadOnLine(StationResources& station, MainLoop& loop, const BusSetup& setup, Listener& listener, bool identifies,
               const std::function<Reading(Bus& bus, int address)>& read,
               const std::function<void(const Reading&)>& show);

}  // namespace orvix::station
