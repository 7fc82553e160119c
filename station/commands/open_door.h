#pragma once

#include <memory>
#include <string>

#include "platform/process_lock.h"
#include "station/door/door.h"
#include "station/model/station_setup.h"
#include "station/run/output.h"

namespace orvix::station {

/// The data folder for this process alone, so that nobody records over another. Null when it cannot be locked there,
/// nor where the station listens instead. Raises Error, which names its process, when another station has it.
std::unique_ptr<platform::ProcessLock> LockDataFolder(const std::string& folder);

/// What this station is called.
std::string StationName();

/// Opens a station's local socket in its data folder, or where it can; one that cannot be opened is said, and keeps
/// nobody from working.
void OpenSocket(Door& door, const std::string& dataFolder, const std::string& name, Output& output);

}  // namespace orvix::station
