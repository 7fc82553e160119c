#pragma once

#include <memory>
#include <string>
#include <vector>

#include "station/commands/live_output.h"
#include "station/commands/main_loop.h"
#include "station/door/door.h"
#include "station/run/health_book.h"
#include "station/run/station_run.h"
#include "station/setup/command_line.h"
#include "station/sink/lines/output_listener.h"
#include "station/sink/recording/recorder.h"
#include "station/source/recorded_source.h"

namespace orvix::station {

/// A recorded station that is played: its buses come from the recording, and those who listen hear the same.
class ReplaySession : private RecordedOperator, private Listener {
public:
    /// Raises what keeps the recording from being played.
    ReplaySession(const ReplayOptions& options, MainLoop& loop);

    /// Plays until the end of the recording and until all that was said is read, or until the main loop is stopped.
    /// Returns the exit status.
    int Run();

private:
    StationHealth Health();
    StationView View();
    /// Plays a while, and comes again.
    void Step();
    bool HasRoom() { return m_Lines.Out().HasRoom() && m_Lines.Err().HasRoom(); }
    std::string Summary() const;

    void Use(const BusSetup& setup) override;
    void Stop(const std::string& port) override;
    void OnReading(const Reading& reading) override;

    const ReplayOptions m_Options;
    MainLoop& m_Loop;

    RecordedSource m_Source;
    LiveOutput m_Lines;

    OutputListener m_Listener;
    HealthBook m_Health;
    std::unique_ptr<Recorder> m_Recorder;

    const std::string m_Session;
    EventHub m_Events;
    LineHub m_LineBytes;
    StationRun m_Run;
    SlowAnswers m_Slow;
    Door m_Door;

    std::vector<BusSetup> m_Buses;  ///< those that run
    Duration m_Started{0};
    Duration m_Until{0};
    std::unique_ptr<Timer> m_Step;
    int m_Readings = 0;
    int m_Failed = 0;
};

}  // namespace orvix::station
