#pragma once

#include <memory>
#include <string>

#include "platform/process_lock.h"
#include "station/commands/live_output.h"
#include "station/commands/main_loop.h"
#include "station/door/door.h"
#include "station/fleet/fleet.h"
#include "station/mqtt/mqtt_subscriber.h"
#include "station/run/health_book.h"
#include "station/run/station_run.h"
#include "station/setup/command_line.h"
#include "station/sink/alarm_program/alarm_command.h"
#include "station/sink/lines/output_listener.h"
#include "station/sink/service/service_notifier.h"

namespace orvix::station {

/// Tells an output what happens in a fleet, but not of each bus what is told of its station, or of the broker.
class FleetLines : public OutputListener {
public:
    using OutputListener::OutputListener;
    void OnLine(const LineEvent& /*event*/) override {}
};

/// The stations that report to a broker, shown as one.
class CollectSession {
public:
    /// Raises what keeps it from working.
    CollectSession(const CollectOptions& options, MainLoop& loop);

    /// Until the main loop is stopped, or for the time that was asked for. Returns the exit status.
    int Run();

private:
    Fleet::Wishes Wishes();
    MqttSubscriber::Events Events();
    StationView View();
    StationHealth Health();
    void OnLost(const std::string& why);

    const CollectOptions m_Options;
    MainLoop& m_Loop;
    const StationSetup m_Setup;
    const std::string m_Folder;  ///< of the data
    const std::unique_ptr<platform::ProcessLock> m_Lock;
    LiveOutput m_Lines;
    Output& m_Output;
    const std::string m_Session;

    FleetLines m_Shown;
    ServiceNotifier m_Service;
    HealthBook m_Health;
    AlarmCommand m_AlarmProgram;
    EventHub m_Events;
    LineHub m_LineBytes;
    Fleet m_Fleet;
    StationRun m_Run;
    SlowAnswers m_Slow;
    std::unique_ptr<StationActions> m_Actions;
    Door m_Door;
    std::unique_ptr<MqttSubscriber> m_Broker;
    std::string m_Trouble;  ///< with the broker, that was told; empty: all is well
};

}  // namespace orvix::station
