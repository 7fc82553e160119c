#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "station/door/station_view.h"
#include "station/library/folders.h"
#include "station/model/station_setup.h"
#include "station/run/output.h"
#include "station/store/device_registry.h"

namespace orvix::station {

/// Does what people ask of a station that runs.
class RunActions : public StationActions {
public:
    /// All outlive this. `setup`: what was asked for when the station was started.
    RunActions(StationRun& run, SlowAnswers& slow, const StationSetup& setup, std::string database, Output& output);

    void Read(const DeviceId& place, ORVIXCNB1_VARS variable, std::function<void(const Reading&)> done) override;
    void Export(const DeviceId& place, std::int32_t format, std::function<void(const DeviceFile&)> done) override;
    void Add(const std::string& bus, const DeviceSetup& device, Done done) override;
    void Rename(const DeviceId& place, const std::string& name, Done done) override;
    void Remove(const DeviceId& place, Done done) override;

private:
    /// A change to the devices that are known on a port.
    using Change = std::function<void(DeviceRegistry& registry, const std::string& portPath)>;

    /// Counts as one of those who wait for an exchange until it is dropped. Raises ProblemError when they are too many.
    std::shared_ptr<void> Wait();
    /// Raises ProblemError unless the devices of a bus are those that are known on its port.
    void CheckIsKnown(const std::string& port) const;
    /// Has a bus read those that are known on its port after a change.
    void MakeChange(const std::string& bus, Change change, Done done);
    void Apply(const std::string& bus, const std::vector<KnownDevice>& known);

    StationRun& m_Run;
    SlowAnswers& m_Slow;
    const StationSetup& m_Setup;
    const std::string m_Database;
    Output& m_Output;
    /// Those who wait for an exchange; if their bus is gone, they end on its thread.
    const std::shared_ptr<std::atomic<int>> m_Waiting = std::make_shared<std::atomic<int>>(0);
};

}  // namespace orvix::station
