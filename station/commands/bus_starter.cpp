#include "station/commands/bus_starter.h"

#include <algorithm>

#include "simulator/bus_server.h"
#include "simulator/device_arguments.h"
#include "station/commands/commands.h"
#include "station/configuration/device_registry.h"
#include "station/run/capacity.h"

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

BusStarter::BusStarter(Station& station, StationRun& run, SimulatedBuses& simulated, MainLoop& loop, Output& output)
    : m_Station(station), m_Run(run), m_Simulated(simulated), m_Loop(loop), m_Output(output) {}

void BusStarter::Start(const std::vector<BusSetup>& buses) {
    for (const auto& bus : buses) {
        try {
            StartBus(bus, buses.size() == 1);
        } catch (const Error& error) {
            m_Output.Note(error.Description);
        }
    }
    if (!AnyLeft()) m_Loop.Stop();
}

void BusStarter::StartBus(BusSetup bus, bool isAlone) {
    bus.PortNumber = PortNumberIn(m_Station.Folders, bus.PortPath.empty() ? bus.PortLabel : bus.PortPath);
    if (bus.PortPath.empty()) {
        Simulate(bus);
        m_Run.Start(bus);
        ++m_Running;
        return;
    }
    if (bus.Devices.empty()) bus.Devices = KnownDevices(bus.PortPath);
    if (bus.Devices.empty()) return StartScan(bus, isAlone);
    Poll(bus);
}

void BusStarter::Simulate(BusSetup& bus) {
    const auto devices = SimulatedDevices(bus.Devices);
    m_Simulated.push_back(std::make_unique<simulator::BusServer>(simulator::SimulatedBus(devices), 0));
    bus.PortPath = m_Simulated.back()->Terminal().Path();
    if (bus.Devices.empty()) {
        for (const auto& device : devices)
            bus.Devices.push_back({device.Address, device.Model, {}, {}});
    }
    if (m_Simulated.size() == 1) m_Output.Note("this bus is simulated; name a real one with --port PATH");
}

std::vector<DeviceSetup> BusStarter::KnownDevices(const std::string& port) {
    std::vector<DeviceSetup> devices;
    for (const auto& known : DeviceRegistry(m_Station.Folders.Data).Devices(port))
        devices.push_back({known.Address, known.Model, known.Name, {}});
    return devices;
}

void BusStarter::StartScan(const BusSetup& bus, bool showBar) {
    const auto scanned = m_Scans.insert(m_Scans.end(), {bus, nullptr});
    try {
        scanned->Scan = std::make_unique<PortScan>(
            m_Station, m_Loop.Apartment(), bus, ScanRange{}, showBar,
            [this, port = bus.PortLabel](const FoundDevice& device) {
                m_Output.Note(port + ": found " + DescriptionOf(device));
            },
            [this, scanned](const std::optional<std::string>& failure) { EndScan(scanned, failure); });
    } catch (...) {
        m_Scans.erase(scanned);
        throw;
    }
    m_Output.Note(bus.PortLabel + ": no device is known here; looking for some");
}

void BusStarter::EndScan(std::list<ScannedBus>::iterator scanned, const std::optional<std::string>& failure) {
    try {
        if (failure) throw Error(errors::General, *failure);
        scanned->Scan->Remember(m_Station.Folders.Data, scanned->Setup.PortPath);
        scanned->Setup.Devices = KnownDevices(scanned->Setup.PortPath);
        if (scanned->Setup.Devices.empty()) throw Error(errors::General, NothingFound(scanned->Setup));
        // The port is free for the bus only when the scan has gone.
        scanned->Scan.reset();
        Poll(scanned->Setup);
    } catch (const Error& error) {
        m_Output.Note(error.Description);
    }
    m_Scans.erase(scanned);
    if (!AnyLeft()) m_Loop.Stop();
}

void BusStarter::Poll(BusSetup bus) {
    if (const auto sentence = FitPeriod(bus)) {
        m_Output.Note(bus.PortLabel + ": " + *sentence + ", going on every " + std::to_string(bus.Every.count()) +
                      " ms");
    }
    m_Run.Start(bus);
    ++m_Running;
}

}  // namespace orvix::station
