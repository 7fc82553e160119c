#pragma once

#include <chrono>
#include <string>

#include "host/apartment.h"
#include "station/run/health_book.h"
#include "station/run/station_run.h"
#include "station/setup/command_line.h"
#include "station/sink/mqtt/mqtt_sink.h"
#include "station/source/rehearsed_source.h"

namespace orvix::station {

/// One of the stations of a rehearsed fleet: all that a station is between its lines, of which it has none, and its
/// broker.
class RehearsedStation {
public:
    /// The number counts from 1; `begin` is the time to the first readings.
    RehearsedStation(const RehearsalOptions& options, int number, std::chrono::milliseconds begin, Apartment& home,
                     const MqttClient::Tell& tell);

    /// Begins to leave the broker.
    void Leave() { m_Mqtt.Leave(); }
    /// Waits until it has left it, at most so long.
    void Close(std::chrono::milliseconds limit) { m_Mqtt.Close(limit); }

private:
    MqttQuestions Questions();
    StationHealth Health();

    Apartment& m_Home;
    const std::string m_Session;
    RehearsedSource m_Source;
    HealthBook m_Health;
    MqttSink m_Mqtt;
    StationRun m_Run;
};

}  // namespace orvix::station
