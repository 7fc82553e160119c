#include "station/run/station_run.h"

#include <algorithm>
#include <utility>

#include "station/run/bus_change.h"

namespace orvix::station {
namespace {

// How late an alarm of a time may be.
constexpr std::int32_t kPassingMs = 1000;

// What has not answered so often, or for so long, is a device without a serial number.
constexpr std::size_t kMostAttempts = 3;
constexpr std::chrono::seconds kLongestUnknown{3};

/// Devices that stay, and are asked for without a name, keep theirs.
void KeepNames(const std::vector<DeviceSetup>& before, std::vector<DeviceSetup>& now) {
    for (auto& device : now) {
        const auto* known = SameDevice(device, before);
        if (device.Name.empty() && known != nullptr) device.Name = known->Name;
    }
}

}  // namespace

StationRun::StationRun(Source& source, std::string session, Failed failed)
    : m_Source(source),
      m_Session(std::move(session)),
      m_Failed(std::move(failed)),
      m_Passing(source.Home().CreateTimer([this] { Pass(); })) {
    m_Passing->Rearm(kPassingMs, true);
}

void StationRun::Pass() {
    TellHeld(kLongestUnknown);
    TellAlarms(m_Alarms.Passing(UnixNow(), m_Source.Elapsed()));
}

StationRun::~StationRun() {
    for (auto& bus : m_Buses) {
        if (bus.Bus) bus.Bus->Close();
    }
}

void StationRun::Start(const BusSetup& setup) {
    m_Buses.push_back({setup, 0, nullptr});
    try {
        Open(m_Buses.back());
    } catch (...) {
        m_Buses.pop_back();
        throw;
    }
}

void StationRun::Open(RunningBus& bus) {
    Listener& self = *this;
    bus.Number = ++m_LatestNumber;
    bus.Bus = m_Source.Open(bus.Setup, self, [this, n = bus.Number] { Ended(n); });
    bus.Setup = bus.Bus->Setup();
    TakeDevices(bus.Setup);
    bus.Bus->Poll();
}

std::vector<std::string> StationRun::Apply(const std::vector<BusSetup>& wanted) {
    const auto changes = ChangesBetween(Setups(), wanted);
    // All first: a port may go from one bus to another.
    for (const auto& change : changes) {
        if (change.What == BusChange::Kind::Stop || change.What == BusChange::Kind::Restart) Stop(change.Port);
    }
    std::vector<std::string> done;
    for (const auto& [what, port, text] : changes) {
        const auto setup = std::find_if(wanted.begin(), wanted.end(),
                                        [port = port](const BusSetup& bus) { return bus.PortLabel == port; });
        try {
            if (what == BusChange::Kind::Start || what == BusChange::Kind::Restart) StartWhenFree(*setup);
            if (what == BusChange::Kind::Devices) ChangeDevices(*BusOn(port), *setup);
            done.push_back(text);
        } catch (const Error& error) {
            done.push_back("cannot be started: " + error.Description);
        }
        done.back().insert(0, port + ": ");
    }
    return done;
}

bool StationRun::IsFree(const std::string& portPath) const {
    return std::none_of(m_Ending.begin(), m_Ending.end(),
                        [&](const RunningBus& bus) { return bus.Setup.PortPath == portPath; });
}

void StationRun::WhenFree(const std::string& portPath, std::function<void()> work) {
    if (IsFree(portPath)) return work();
    m_Waiting.push_back({portPath, std::move(work)});
}

void StationRun::StartWhenFree(const BusSetup& setup) {
    if (IsFree(setup.PortPath)) return Start(setup);
    m_Buses.push_back({setup, 0, nullptr});
    WhenFree(setup.PortPath, [this, port = setup.PortLabel] { StartWaiting(port); });
}

/// Meanwhile it may have been started, taken away, or come to wait for another port.
void StationRun::StartWaiting(const std::string& port) {
    const auto bus = BusOn(port);
    if (bus == m_Buses.end() || bus->Bus || !IsFree(bus->Setup.PortPath)) return;
    try {
        Open(*bus);
    } catch (const Error& error) {
        m_Buses.erase(bus);
        if (m_Failed) m_Failed(port, error);
    }
}

void StationRun::Ended(std::uint64_t number) {
    m_Ending.remove_if([number](const RunningBus& bus) { return bus.Number == number; });
    for (auto& work : std::exchange(m_Waiting, {}))
        WhenFree(work.PortPath, std::move(work.Do));
}

bool StationRun::Moves() {
    const auto now = m_Source.Home().Now();
    const auto moves = [now](const RunningBus& bus) { return !bus.Bus || bus.Bus->Moves(now); };
    return std::all_of(m_Buses.begin(), m_Buses.end(), moves) && std::all_of(m_Ending.begin(), m_Ending.end(), moves);
}

void StationRun::ReopenTraces() {
    for (auto& bus : m_Buses) {
        if (bus.Bus) bus.Bus->ReopenTrace();
    }
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

bool StationRun::IsRunning(const std::string& port) {
    const auto bus = BusOn(port);
    return bus != m_Buses.end() && bus->Bus;
}

SourceBus& StationRun::Asked(const std::string& port) {
    if (!IsRunning(port)) throw Error(errors::General, port + " is not being read now");
    return *BusOn(port)->Bus;
}

void StationRun::Export(const DeviceId& place, std::int32_t format,
                        const std::function<void(const DeviceFile&)>& done) {
    Asked(place.Port).Export(place.Address, format, done);
}

void StationRun::Read(const DeviceId& place, ORVIXCNB1_VARS variable, std::function<void(const Reading&)> done) {
    const auto told = [this, place, done = std::move(done)](Reading reading) {
        reading.Identifier = IdentifierOf(place);
        done(reading);
    };
    Asked(place.Port).Read(place.Address, variable, told);
}

void StationRun::Stop(const std::string& port) {
    const auto bus = BusOn(port);
    if (!bus->Bus) {
        m_Buses.erase(bus);
        return;
    }
    bus->Bus->Close();
    for (const auto& device : bus->Setup.Devices)
        Forget(IdOf(port, device.Address));
    TellAlarms(m_Alarms.Forget(IdOf(port, 0), UnixNow()));
    Tell(&Listener::OnPortGone, port);
    m_Ending.splice(m_Ending.end(), m_Buses, bus);
}

void StationRun::ChangeDevices(RunningBus& bus, const BusSetup& wanted) {
    const auto changes = ChangesBetween(bus.Setup.Devices, wanted.Devices);
    const auto before = std::exchange(bus.Setup, wanted);
    if (!bus.Bus) return;
    KeepNames(before.Devices, bus.Setup.Devices);
    for (const auto address : changes.Removed)
        Forget(IdOf(wanted.PortLabel, address));
    TakeDevices(bus.Setup);
    bus.Bus->Devices(changes);
}

void StationRun::TakeDevices(const BusSetup& setup) {
    for (const auto& device : setup.Devices) {
        m_Values.Expect(setup.PortLabel, device, setup.Every);
        m_Alarms.Watch(setup.PortLabel, device, m_Source.Elapsed());
    }
    m_Alarms.WatchPort(setup.PortLabel, setup.PortGone);
    Tell(&Listener::OnSetup, setup);
    Announce(setup);
    m_Alarms.Identify(IdOf(setup.PortLabel, 0), {}, UnixNow(), m_Source.Elapsed());
}

void StationRun::Announce(const BusSetup& setup) {
    for (const auto& device : setup.Devices) {
        auto known = m_Identities.Expect(IdOf(setup.PortLabel, device.Address), device.Model);
        if (!known) continue;
        known->Name = device.Name;
        Tell(*known);
    }
}

void StationRun::Forget(const DeviceId& device) {
    m_Values.Forget(device);
    m_Held.erase(device);
    m_Identities.MayHaveGone(device);
    TellAlarms(m_Alarms.Forget(device, UnixNow()));
    Tell(&Listener::OnDeviceGone, device);
}

const DeviceSetup* StationRun::WantedAt(const std::string& port, int address) {
    return IsRunning(port) ? DeviceAt(address, BusOn(port)->Setup.Devices) : nullptr;
}

void StationRun::Tell(const DeviceIdentity& identity) {
    Tell(&Listener::OnIdentity, identity);
    m_Alarms.Identify(identity.Id(), identity.Identifier, UnixNow(), m_Source.Elapsed());
}

void StationRun::OnIdentity(const DeviceIdentity& found) {
    const auto* device = WantedAt(found.Port, found.Address);
    if (device == nullptr) return;
    auto identity = found;
    identity.Name = device->Name;
    identity.Model = device->Model;
    Tell(m_Identities.Take(std::move(identity)));
    const auto held = m_Held.extract(found.Id());
    for (const auto& reading : held ? held.mapped().Readings : std::vector<Reading>())
        Take(reading);
}

void StationRun::Settle(const DeviceId& place) {
    if (!m_Identities.IdentifierOf(place).empty()) return;
    OnIdentity({.Port = place.Port,
                .Address = place.Address,
                .Name = {},
                .SerialNumber = {},
                .Identifier = {},
                .Remark = {},
                .HasAnswered = false});
}

void StationRun::TellHeld(Duration atLeast) {
    const auto isDue = [&](const auto& entry) { return m_Source.Elapsed() - entry.second.Since >= atLeast; };
    for (auto due = m_Held.begin(); due != m_Held.end();) {
        due = std::find_if(m_Held.begin(), m_Held.end(), isDue);
        if (due != m_Held.end()) Settle(DeviceId(due->first));
    }
}

/// One that answers tells beforehand who it is, if at all.
void StationRun::OnReading(const Reading& reading) {
    // One that was on its way when its bus or device was taken away is nobody's.
    if (WantedAt(reading.Port, reading.Address) == nullptr) return;
    const auto place = reading.Id();
    if (!m_Identities.IdentifierOf(place).empty()) return Take(reading);
    auto& held = m_Held[place];
    if (held.Readings.empty()) held.Since = m_Source.Elapsed();
    held.Readings.push_back(reading);
    const auto attempts = held.Readings.size() * (static_cast<std::size_t>(BusOn(reading.Port)->Setup.Retries) + 1);
    if (reading.Valid() || attempts >= kMostAttempts) Settle(place);
}

void StationRun::Take(Reading reading) {
    reading.Seq = ++m_Seq;
    reading.Identifier = m_Identities.IdentifierOf(reading.Id());
    m_Values.Take(reading, BusOn(reading.Port)->Setup.Every, m_Source.Elapsed());
    if (reading.Quality == Quality::Offline) m_Identities.MayHaveGone(reading.Id());
    Tell(&Listener::OnReading, reading);
    TellAlarms(m_Alarms.Take(reading, m_Source.Elapsed()));
}

void StationRun::OnLine(const LineEvent& event) {
    Tell(&Listener::OnLine, event);
    using Kind = LineEvent::Kind;
    // A closed port and a request that is about to be written prove nothing.
    if (event.What == Kind::Closed || event.What == Kind::Sent) return;
    TellAlarms(m_Alarms.Port(event.Port, event.What != Kind::Failed, UnixNow(), m_Source.Elapsed()));
}

void StationRun::TellAlarms(std::vector<AlarmEvent> events) {
    for (auto& event : events) {
        event.Seq = ++m_Seq;
        if (event.What == AlarmChange::Started) {
            if (event.Address != 0) Settle(event.Id());
            event.Identifier = m_Identities.IdentifierOf(event.Id());
            event.Alarm = AlarmName(m_Session, event.Seq);
            m_Alarms.Name(event);
        }
        Tell(&Listener::OnAlarm, event);
    }
}

void StationRun::OnAlarm(const AlarmEvent& told) {
    auto event = told;
    const bool isOurs = told.Address == 0 ? IsRunning(told.Port) : WantedAt(told.Port, told.Address) != nullptr;
    if (!isOurs || !m_Alarms.Hear(event)) return;
    event.Seq = ++m_Seq;
    Tell(&Listener::OnAlarm, event);
}

void StationRun::OnLost(const DeviceId& device) {
    if (WantedAt(device.Port, device.Address) == nullptr) return;
    m_Values.Lose(device);
    Tell(&Listener::OnLost, device);
}

std::optional<AlarmEvent> StationRun::Acknowledge(const std::string& alarm, const std::string& by,
                                                  const std::string& comment) {
    auto event = m_Alarms.Acknowledge(alarm, {UnixNow(), by, comment});
    if (event) TellAlarms({*event});
    return event;
}

std::vector<Reading> StationRun::Values() const {
    auto values = m_Values.At(m_Source.Elapsed());
    for (auto& reading : values)
        reading.Identifier = m_Identities.IdentifierOf(reading.Id());
    return values;
}

}  // namespace orvix::station
