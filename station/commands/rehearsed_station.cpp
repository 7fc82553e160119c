#include "station/commands/rehearsed_station.h"

#include "simulator/device_arguments.h"
#include "station/door/health_text.h"
#include "station/model/clock.h"
#include "station/store/uuid.h"

namespace orvix::station {
namespace {

constexpr char kBusName[] = "bus";
// That of the first device of a station, which is above it for a tenth of the time.
constexpr double kHighAlarm = 28.995;

BusSetup RehearsedBusOf(const RehearsalOptions& options, int station) {
    BusSetup bus;
    bus.PortLabel = bus.PortPath = kBusName;
    bus.Every = options.Every;
    const auto model = simulator::ParseModel("sensor");
    for (int address = 1; address <= options.Devices; ++address) {
        bus.Devices.push_back({address, model, "sim" + std::to_string(station) + "-" + std::to_string(address), {}});
    }
    bus.Devices.front().Limits.High = kHighAlarm;
    return bus;
}

}  // namespace

RehearsedStation::RehearsedStation(const RehearsalOptions& options, int number, std::chrono::milliseconds begin,
                                   Apartment& home, const MqttClient::Tell& tell)
    : m_Home(home),
      m_Session(NewUuid()),
      m_Source(home, begin),
      m_Mqtt(m_Session, home, Questions(), tell),
      m_Run(m_Source, m_Session) {
    m_Run.Add(m_Health);
    m_Run.Add(m_Mqtt);
    auto mqtt = options.Mqtt;
    mqtt.Station = "sim-" + std::to_string(number);
    m_Mqtt.Use(mqtt, {});
    m_Run.Start(RehearsedBusOf(options, number));
}

StationHealth RehearsedStation::Health() {
    return m_Health.At(m_Home.Now(), UnixMillisecondsOf(m_Home.DateNow()), m_Run.Values());
}

MqttQuestions RehearsedStation::Questions() {
    return {.Values = [this] { return m_Run.Values(); },
            .Alarms = [this] { return m_Run.Alarms().Active(); },
            .Buses = [this] { return HealthJson(Health()).at("buses"); },
            .Setups = [this] { return m_Run.Setups(); }};
}

}  // namespace orvix::station
