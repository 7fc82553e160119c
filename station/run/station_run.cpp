#include "station/run/station_run.h"

#include <algorithm>

#include "station/model/clock.h"
#include "station/run/bus_change.h"

namespace orvix::station {

StationRun::~StationRun() {
    for (auto& bus : m_Buses)
        bus.Thread->Close();
}

void StationRun::Start(const BusSetup& setup) {
    Tell(&Listener::OnSetup, setup);
    Listener& self = *this;
    RunningBus bus{setup, std::make_unique<BusThread>(m_Station, m_Home, setup, self)};
    bus.Thread->Post([](Bus& b) { b.Poll(); });
    m_Buses.push_back(std::move(bus));
    TakeDevices(setup);
}

std::vector<std::string> StationRun::Apply(const std::vector<BusSetup>& wanted) {
    const auto wantedOn = [&](const std::string& port) {
        return *std::find_if(wanted.begin(), wanted.end(),
                             [&](const BusSetup& setup) { return setup.PortLabel == port; });
    };
    std::vector<std::string> done;
    for (const auto& [what, port, text] : ChangesBetween(Setups(), wanted)) {
        try {
            if (what == BusChange::Kind::Stop || what == BusChange::Kind::Restart) Stop(port);
            if (what == BusChange::Kind::Start || what == BusChange::Kind::Restart) Start(wantedOn(port));
            if (what == BusChange::Kind::Devices) ChangeDevices(*BusOn(port), wantedOn(port));
            done.push_back(text);
        } catch (const Error& error) {
            done.push_back("cannot be started: " + error.Description);
        }
        done.back().insert(0, port + ": ");
    }
    return done;
}

bool StationRun::Moves() {
    const auto now = m_Home.Now();
    return std::all_of(m_Buses.begin(), m_Buses.end(), [now](RunningBus& bus) { return bus.Thread->Moves(now); });
}

void StationRun::ReopenTraces() {
    for (auto& bus : m_Buses)
        bus.Thread->Post([](Bus& b) { b.ReopenTrace(); });
}

std::vector<BusSetup> StationRun::Setups() const {
    std::vector<BusSetup> setups;
    for (const auto& bus : m_Buses)
        setups.push_back(bus.Setup);
    return setups;
}

std::optional<BusSetup> StationRun::SetupOn(const std::string& port) {
    const auto bus = BusOn(port);
    return bus == m_Buses.end() ? std::nullopt : std::make_optional(bus->Setup);
}

std::list<StationRun::RunningBus>::iterator StationRun::BusOn(const std::string& port) {
    return std::find_if(m_Buses.begin(), m_Buses.end(),
                        [&](const RunningBus& bus) { return bus.Setup.PortLabel == port; });
}

void StationRun::Stop(const std::string& port) {
    const auto bus = BusOn(port);
    bus->Thread.reset();
    for (const auto& device : bus->Setup.Devices)
        Forget(port, device.Address);
    Tell(&Listener::OnPortGone, port);
    m_Buses.erase(bus);
}

void StationRun::ChangeDevices(RunningBus& bus, const BusSetup& wanted) {
    const auto changes = ChangesBetween(bus.Setup.Devices, wanted.Devices);
    bus.Setup = wanted;
    for (const auto address : changes.Removed)
        Forget(wanted.PortLabel, address);
    TakeDevices(wanted);
    Tell(&Listener::OnSetup, wanted);
    bus.Thread->Post([changes](Bus& b) { b.Devices(changes); });
}

void StationRun::TakeDevices(const BusSetup& setup) {
    for (const auto& device : setup.Devices) {
        m_Values.Expect(setup.PortLabel, device, setup.Every);
        m_Alarms.Limits(setup.PortLabel, device.Address, device.Limits);
    }
}

void StationRun::Forget(const std::string& port, int address) {
    m_Values.Forget(port, address);
    TellAlarms(m_Alarms.Forget(port, address, UnixMilliseconds()));
    Tell(&Listener::OnDeviceGone, port, address);
}

void StationRun::OnReading(const Reading& told) {
    const auto bus = BusOn(told.Port);
    if (bus == m_Buses.end()) return;
    const auto& devices = bus->Setup.Devices;
    const auto isWanted = [&](const DeviceSetup& device) { return device.Address == told.Address; };
    // One that was on its way when its bus or device was taken away is nobody's.
    if (std::none_of(devices.begin(), devices.end(), isWanted)) return;
    auto reading = told;
    reading.Seq = ++m_Seq;
    m_Values.Take(reading, bus->Setup.Every);
    Tell(&Listener::OnReading, reading);
    TellAlarms(m_Alarms.Take(reading));
}

void StationRun::TellAlarms(std::vector<AlarmEvent> events) {
    for (auto& event : events) {
        event.Seq = ++m_Seq;
        Tell(&Listener::OnAlarm, event);
    }
}

std::vector<Reading> StationRun::Values() const {
    return m_Values.At(UnixMilliseconds());
}

}  // namespace orvix::station
