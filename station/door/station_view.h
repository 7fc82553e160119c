#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "station/door/event_hub.h"
#include "station/run/health.h"
#include "station/run/station_run.h"

namespace orvix::station {

/// A station, running or played, as those outside see it.
struct StationView {
    std::string Name;
    std::string Session;       ///< a UUID, of this run
    std::int64_t Started = 0;  ///< milliseconds since 1970
    StationRun& Run;
    EventHub& Events;
    std::function<StationHealth()> Health;
    std::function<bool(const std::string& bus)> IsSimulated;
    bool KeepsHistory = false;
};

}  // namespace orvix::station
