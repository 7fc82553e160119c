#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "station/door/station_view.h"
#include "station/library/folders.h"
#include "station/model/station_setup.h"
#include "station/run/output.h"

namespace orvix::station {

/// Does what people ask of a station that runs.
class RunActions : public StationActions {
public:
    /// All outlive this. `setup`: what was asked for when the station was started.
    RunActions(StationRun& run, SlowAnswers& slow, const StationSetup& setup, std::string database, Output& output);

    void Read(const DeviceId& place, ORVIXCNB1_VARS variable, std::function<void(const Reading&)> done) override;
    void Change(const DeviceId& place, const std::optional<std::string>& name, std::function<void()> done) override;

private:
    /// Raises ProblemError unless the devices of a bus are those that are known on its port.
    void CheckIsKnown(const std::string& port) const;
    void Apply(const DeviceId& place, const std::optional<std::string>& name);

    StationRun& m_Run;
    SlowAnswers& m_Slow;
    const StationSetup& m_Setup;
    const std::string m_Database;
    Output& m_Output;
    /// Under way; those whose bus has gone end on its thread.
    const std::shared_ptr<std::atomic<int>> m_Reads = std::make_shared<std::atomic<int>>(0);
};

}  // namespace orvix::station
