#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "station/commands/main_loop.h"
#include "station/commands/port_scan.h"
#include "station/run/output.h"
#include "station/run/station_run.h"

namespace orvix::simulator {
class BusServer;
}

namespace orvix::station {

/// Brings the buses of a station online, each with what it needs first: a simulated one with its simulation, one
/// without devices with those that are known on its port, or that a scan finds there.
class BusStarter {
public:
    /// Simulations that have been started, by what people call their port; they outlive the buses that run on them.
    using SimulatedBuses = std::map<std::string, std::unique_ptr<simulator::BusServer>>;

    /// All outlive this. `err` shows how far scans are.
    BusStarter(StationResources& station, StationRun& run, SimulatedBuses& simulated, MainLoop& loop, Output& output,
               std::ostream& err);

    /// Several at once take no heed of each other: a port on which nothing can be done is said, and the rest go on.
    /// Stops the main loop when nothing is left to wait for.
    void Start(const std::vector<BusSetup>& buses);
    bool IsScanning() const { return !m_Scans.empty(); }
    /// Called when the last scan that was under way has ended.
    void OnScansEnded(std::function<void()> ended) { m_ScansEnded = std::move(ended); }
    /// Keeps what scans that are under way have found so far.
    void KeepFound();
    /// Turns the buses into those that are wanted, and leaves alone what stays as it is. A bus for which that fails
    /// holds up no other. Returns what was done, and what could not be, a sentence each.
    std::vector<std::string> Apply(const std::vector<BusSetup>& wanted);

private:
    struct ScannedBus {
        BusSetup Setup;
        std::unique_ptr<PortScan> Scan;  ///< null: it waits for its port
    };

    /// Completes what a setup leaves open: the port's number, the port of a simulated bus, the devices that are known,
    /// a period that the line can keep. Without any device it needs a scan.
    void Prepare(BusSetup& bus);
    void StartBus(BusSetup bus, bool isAlone);
    /// To what the line can keep, and says so.
    void RaisePeriod(BusSetup& bus);
    void Simulate(BusSetup& bus);
    /// Stops the main loop when there is no bus that runs, or may yet.
    void EndIfNoneIsLeft();
    std::vector<DeviceSetup> KnownDevices(const std::string& port);
    void StartScan(const BusSetup& bus, bool showBar);
    void OpenScan(std::list<ScannedBus>::iterator scanned, bool showBar);
    void EndScan(std::list<ScannedBus>::iterator scanned, const std::optional<std::string>& failure);

    StationResources& m_Station;
    StationRun& m_Run;
    SimulatedBuses& m_Simulated;
    MainLoop& m_Loop;
    Output& m_Output;
    std::ostream& m_Err;
    std::list<ScannedBus> m_Scans;
    std::function<void()> m_ScansEnded = [] {};
};

}  // namespace orvix::station
