#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/door/event_hub.h"
#include "station/door/line_hub.h"
#include "station/door/slow_answers.h"
#include "station/model/fleet_names.h"
#include "station/model/mqtt_state.h"
#include "station/run/health.h"
#include "station/run/station_run.h"

namespace orvix::station {

/// What people can have a running station do. What it refuses it raises as ProblemError.
class StationActions {
public:
    virtual ~StationActions() = default;
    /// Reads a device before what else waits on its bus.
    virtual void Read(const DeviceId& place, ORVIXCNB1_VARS variable, std::function<void(const Reading&)> done) = 0;
    /// The same, and makes a file of it. `format`: kFileFormatText, kFileFormatReport or kFileFormatDevice.
    virtual void Export(const DeviceId& place, std::int32_t format, std::function<void(const DeviceFile&)> done) = 0;

    /// Called when a change is kept and holds, or with why it is not.
    using Done = std::function<void(const std::optional<std::string>& failure)>;
    /// Adds a device to those of a bus, in place of one at its address. Without a name it keeps the one that it had.
    virtual void Add(const std::string& bus, const DeviceSetup& device, Done done) = 0;
    virtual void Rename(const DeviceId& place, const std::string& name, Done done) = 0;
    /// Takes a device off the list of its bus.
    virtual void Remove(const DeviceId& place, Done done) = 0;
};

/// The latest answers to questions that take their time and that many may ask at once: those who ask within a tenth of
/// a second get the same one.
class SharedAnswers {
public:
    /// `question`: tells it from others. `make` makes the answer when there is none, or it is too old.
    HttpResponse Get(const std::string& question, Duration now, const std::function<HttpResponse()>& make);

private:
    struct Kept {
        Duration Until{0};
        HttpResponse Response;
    };
    std::map<std::string, Kept> m_Kept;
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
    std::shared_ptr<SharedAnswers> Shared = std::make_shared<SharedAnswers>();
    /// Nothing when it reports to no broker.
    std::function<std::optional<MqttState>()> Mqtt = [] { return std::nullopt; };
    StationActions* Actions = nullptr;  ///< null: the station is played, and does what it did
    bool IsFleet = false;               ///< its buses are those of other stations

    /// Of a bus.
    std::string StationOf(const std::string& bus) const { return IsFleet ? StationOfBus(bus) : Name; }
};

}  // namespace orvix::station
