#pragma once

#include "station/model/station_setup.h"
#include "station/setup/command_line.h"

namespace orvix::station {

/// What configuration file and options of run ask for together. Options win: a value over that of every bus, ports over
/// the file's buses (a port that is in the file keeps what the file says of it), devices over those of their port.
/// There is at least one bus; each has a label of its own. Raises ConfigurationError and UsageError.
StationSetup SetupOf(const RunOptions& options);

}  // namespace orvix::station
