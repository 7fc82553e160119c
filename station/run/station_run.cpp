#include "station/run/station_run.h"

#include "station/bus/clock.h"

namespace orvix::station {

StationRun::~StationRun() {
    for (auto& bus : m_Buses)
        bus.Thread->Close();
}

void StationRun::Start(const BusSetup& setup) {
    Tell(&Listener::OnStart, setup);
    RunningBus bus{setup, nullptr};
    bus.Thread = std::make_unique<BusThread>(m_Station, m_Home, setup, EventsOf(bus));
    bus.Thread->Post([](Bus& b) { b.Poll(); });
    m_Buses.push_back(std::move(bus));
}

BusEvents StationRun::EventsOf(const RunningBus& bus) {
    const auto port = bus.Setup.PortLabel;
    return {
        .OnReading = [this, every = bus.Setup.Every](const Reading& reading) { TakeReading(reading, every); },
        .OnTrouble = [this, port](const Failure& failure) { Tell(&Listener::OnTrouble, port, failure); },
        .OnMessage = [this, port](const std::string& text) { Tell(&Listener::OnMessage, port, text); },
        .OnLine = [this](const LineEvent& event) { Tell(&Listener::OnLine, event); },
    };
}

void StationRun::TakeReading(Reading reading, std::chrono::milliseconds every) {
    m_Values.Take(reading, every);
    Tell(&Listener::OnReading, reading);
}

std::vector<Reading> StationRun::Values() const {
    return m_Values.At(UnixMilliseconds());
}

}  // namespace orvix::station
