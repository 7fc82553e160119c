#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/real_apartment.h"
#include "station/door/event_hub.h"
#include "station/door/line_hub.h"
#include "station/library/bus_services.h"
#include "station/run/health_book.h"
#include "station/run/output.h"
#include "station/run/station_run.h"
#include "station/setup/command_line.h"
#include "station/sink/alarm_program/alarm_command.h"
#include "station/sink/history/histories.h"
#include "station/sink/identities/identity_keeper.h"
#include "station/sink/lines/output_listener.h"
#include "station/sink/mqtt/mqtt_sink.h"
#include "station/sink/recording/recorder.h"
#include "station/sink/service/service_notifier.h"

namespace orvix::station {

/// Everybody who listens to a running station.
struct RunSinks {
    /// Live in `home`. `moves`: whether the station does; `isSimulated`: whether a port is; `questions`: what is asked
    /// of the station. Raises what keeps one of them from working.
    RunSinks(const RunOptions& options, const StationSetup& setup, const StationFolders& folders, Output& output,
             platform::RealApartment& home, std::function<bool()> moves,
             std::function<bool(const std::string& port)> isSimulated, MqttQuestions questions);

    /// They are told in the order in which they stand here.
    void AddTo(StationRun& run);

    OutputListener Shown;
    ServiceNotifier Service;
    HealthBook Health;
    AlarmCommand AlarmProgram;
    const std::string Session;  ///< a UUID, of this run
    IdentityKeeper Identities;
    EventHub Events;
    LineHub Lines;
    MqttSink Mqtt;
    std::unique_ptr<Histories> History;   ///< null: none is wanted
    std::unique_ptr<Recorder> Recording;  ///< the same
};

}  // namespace orvix::station
