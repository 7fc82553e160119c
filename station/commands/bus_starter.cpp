#include "station/commands/bus_starter.h"

#include <algorithm>

#include "simulator/bus_server.h"
#include "simulator/device_arguments.h"
#include "station/commands/commands.h"
#include "station/run/capacity.h"
#include "station/store/device_registry.h"

namespace orvix::station {
namespace {

/// The demonstration's devices; in a bus whose devices are named, these, with values that are made up.
std::vector<simulator::SimulatedDevice> SimulatedDevices(const std::vector<DeviceSetup>& named) {
    auto shown = DemonstrationDevices();
    if (named.empty()) return shown;
    std::vector<simulator::SimulatedDevice> devices;
    for (const auto& device : named) {
        const auto isSame = [&](const auto& d) { return d.Address == device.Address && d.Model == device.Model; };
        const auto known = std::find_if(shown.begin(), shown.end(), isSame);
        const auto text = std::to_string(device.Address) + ":" + simulator::ModelName(device.Model);
        devices.push_back(known != shown.end() ? *known : simulator::ParseSimulatedDevice(text));
    }
    return devices;
}

std::string NothingFound(const BusSetup& bus) {
    return bus.PortLabel +
           ": no device answers at the addresses 1 to 255; look at power and wiring, or try nimbo1 scan with a longer "
           "--timeout-factor";
}

}  // namespace

BusStarter::BusStarter(StationResources& station, StationRun& run, SimulatedBuses& simulated, MainLoop& loop,
                       Output& output, std::ostream& err)
    : m_Station(station), m_Run(run), m_Simulated(simulated), m_Loop(loop), m_Output(output), m_Err(err) {}

void BusStarter::Start(const std::vector<BusSetup>& buses) {
    for (const auto& bus : buses) {
        try {
            StartBus(bus, buses.size() == 1);
        } catch (const Error& error) {
            m_Output.Note(error.Description);
        }
    }
    EndIfNoneIsLeft();
}

std::vector<std::string> BusStarter::Apply(const std::vector<BusSetup>& wanted) {
    std::vector<BusSetup> prepared;
    std::vector<BusSetup> unknown;
    std::vector<std::string> failures;
    for (auto bus : wanted) {
        try {
            Prepare(bus);
            (bus.Devices.empty() ? unknown : prepared).push_back(std::move(bus));
        } catch (const Error& error) {
            failures.push_back(bus.PortLabel + ": cannot be changed: " + error.Description);
            if (const auto running = m_Run.SetupOn(bus.PortLabel)) prepared.push_back(*running);
        }
    }
    auto done = m_Run.Apply(prepared);
    for (const auto& bus : unknown)
        StartScan(bus, false);
    done.insert(done.end(), failures.begin(), failures.end());
    return done;
}

void BusStarter::KeepFound() {
    for (const auto& scanned : m_Scans) {
        if (!scanned.Scan) continue;
        const auto found = scanned.Scan->Found().size();
        if (found == 0) continue;
        scanned.Scan->ClearDisplay();
        scanned.Scan->Remember(m_Station.Folders.Database, scanned.Setup.PortPath);
        m_Output.Note(scanned.Setup.PortLabel +
                      ": the scan was cut short; the devices it found are known from now on (" + std::to_string(found) +
                      "); nimbo1 scan --remember looks for the rest");
    }
}

void BusStarter::Prepare(BusSetup& bus) {
    bus.PortNumber = m_Station.Ports.Of(bus.PortPath.empty() ? bus.PortLabel : bus.PortPath);
    if (bus.PortPath.empty()) return Simulate(bus);
    if (bus.Devices.empty()) bus.Devices = KnownDevices(bus.PortPath);
    RaisePeriod(bus);
}

void BusStarter::RaisePeriod(BusSetup& bus) {
    const auto sentence = FitPeriod(bus);
    if (!sentence) return;
    m_Output.Note(bus.PortLabel + ": " + *sentence + ", going on every " + std::to_string(bus.Every.count()) + " ms");
}

void BusStarter::StartBus(BusSetup bus, bool isAlone) {
    Prepare(bus);
    if (bus.Devices.empty()) return StartScan(bus, isAlone);
    m_Run.Start(bus);
}

void BusStarter::Simulate(BusSetup& bus) {
    const auto devices = SimulatedDevices(bus.Devices);
    auto& server = m_Simulated[bus.PortLabel];
    if (server) {
        server->Devices(devices);
    } else {
        simulator::SimulatedBus simulated(devices, {}, simulator::SeriesOf(bus.PortLabel));
        server = std::make_unique<simulator::BusServer>(std::move(simulated), 0);
        if (m_Simulated.size() == 1) m_Output.Note("this bus is simulated; name a real one with --port PATH");
    }
    bus.PortPath = server->Terminal().Path();
    if (bus.Devices.empty()) {
        for (const auto& device : devices)
            bus.Devices.push_back({device.Address, device.Model, {}, {}});
    }
}

std::vector<DeviceSetup> BusStarter::KnownDevices(const std::string& port) {
    std::vector<DeviceSetup> devices;
    for (const auto& known : DeviceRegistry(m_Station.Folders.Database).Devices(port))
        devices.push_back({known.Address, known.Model, known.Name, {}});
    return devices;
}

void BusStarter::StartScan(const BusSetup& bus, bool showBar) {
    const auto scanned = m_Scans.insert(m_Scans.end(), {bus, nullptr});
    m_Run.WhenFree(bus.PortPath, [this, scanned, showBar] {
        try {
            OpenScan(scanned, showBar);
        } catch (const Error& error) {
            EndScan(scanned, error.Description);
        }
    });
}

void BusStarter::OpenScan(std::list<ScannedBus>::iterator scanned, bool showBar) {
    const auto& bus = scanned->Setup;
    scanned->Scan = std::make_unique<PortScan>(
        m_Station, m_Loop.Apartment(), bus, ScanRange{}, m_Output, m_Err, showBar,
        [this, port = bus.PortLabel](const FoundDevice& device) {
            m_Output.Note(port + ": found " + DescriptionOf(device));
        },
        [this, scanned](const std::optional<std::string>& failure) { EndScan(scanned, failure); });
    m_Output.Note(bus.PortLabel + ": no devices are known here; looking for some");
}

void BusStarter::EndScan(std::list<ScannedBus>::iterator scanned, const std::optional<std::string>& failure) {
    try {
        if (failure) throw Error(errors::General, *failure);
        scanned->Scan->Remember(m_Station.Folders.Database, scanned->Setup.PortPath);
        // The port is free for the bus only when the scan has gone.
        scanned->Scan.reset();
        Prepare(scanned->Setup);
        if (scanned->Setup.Devices.empty()) throw Error(errors::General, NothingFound(scanned->Setup));
        m_Run.Start(scanned->Setup);
    } catch (const Error& error) {
        m_Output.Note(error.Description);
    }
    m_Scans.erase(scanned);
    if (!IsScanning()) m_ScansEnded();
    EndIfNoneIsLeft();
}

/// When all that is being started now is.
void BusStarter::EndIfNoneIsLeft() {
    m_Loop.Apartment().Post([this] {
        if (!m_Run.IsAnyRunning() && m_Scans.empty()) m_Loop.Stop();
    });
}

}  // namespace orvix::station
