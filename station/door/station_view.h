#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "station/door/event_hub.h"
#include "station/door/line_hub.h"
#include "station/door/slow_answers.h"
#include "station/run/health.h"
#include "station/run/station_run.h"

namespace orvix::station {

/// What people can have a running station do. What it refuses it raises as ProblemError.
class StationActions {
public:
    virtual ~StationActions() = default;
    /// Reads a device before what else waits on its bus.
    virtual void Read(const DeviceId& place, ORVIXCNB1_VARS variable, std::function<void(const Reading&)> done) = 0;
    /// Gives a device a name, or with none takes it off the list of its bus; `done` is called when that is kept and
    /// holds.
    virtual void Change(const DeviceId& place, const std::optional<std::string>& name, std::function<void()> done) = 0;
};

/// A station, running or played, as those outside see it.
struct StationView {
    std::string Name;
    std::string Session;       ///< a UUID, of this run
    std::int64_t Started = 0;  ///< milliseconds since 1970
    StationRun& Run;
    EventHub& Events;
    LineHub& Lines;
    std::function<StationHealth()> Health;
    std::function<bool(const std::string& bus)> IsSimulated;
    bool ShowsLines = false;  ///< at addresses, too
    bool KeepsHistory = false;
    std::vector<std::string> HistoryFiles{};  ///< those that there may be
    SlowAnswers& Slow;
    StationActions* Actions = nullptr;  ///< null: the station is played, and does what it did
};

}  // namespace orvix::station
