#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/process_lock.h"
#include "simulator/bus_server.h"
#include "station/commands/bus_starter.h"
#include "station/commands/live_output.h"
#include "station/commands/main_loop.h"
#include "station/commands/run_actions.h"
#include "station/commands/run_sinks.h"
#include "station/commands/screen_session.h"
#include "station/door/door.h"
#include "station/run/station_run.h"
#include "station/setup/command_line.h"
#include "station/source/live_source.h"

namespace orvix::station {

/// A station that runs: its buses and everybody who listens to them. Built from the listeners to the buses, and taken
/// down the other way round.
class RunSession {
public:
    /// Raises what keeps the station from running.
    RunSession(const RunOptions& options, MainLoop& loop);

    /// Runs until the main loop is stopped, or for the time that was asked for. Returns the exit status.
    int Run();

private:
    /// The buses, and what they need before they run.
    struct Sources {
        explicit Sources(RunSession& session);

        BusStarter::SimulatedBuses Simulated;
        LiveSource Ports;
        StationRun Run;
        BusStarter Starter;
    };

    StationHealth Health();
    MqttQuestions Questions();
    /// Reports to another broker from now on, or to none.
    void UseMqtt(const MqttSetup& setup);
    StationView View();
    void OpenDoor();
    /// Reads the configuration again and changes what has changed in it; one that is broken changes nothing. Waits for
    /// scans that are under way.
    void Reload();
    void Apply(const StationSetup& wanted);
    int Finish();

    const RunOptions m_Options;
    MainLoop& m_Loop;
    StationSetup m_Setup;
    const std::unique_ptr<platform::ProcessLock> m_Lock;  ///< null: the data folder cannot be written
    std::unique_ptr<StationResources> m_Station;
    LiveOutput m_Lines;
    std::optional<ScreenSession> m_Screen;
    Output& m_Output;  ///< the screen or the lines

    RunSinks m_Sinks;
    Sources m_Sources;
    SlowAnswers m_Slow;
    RunActions m_Actions;
    Door m_Door;
    bool m_ReloadWaits = false;
};

}  // namespace orvix::station
