#include "station/commands/run_actions.h"

#include <algorithm>
#include <utility>

#include "host/error.h"
#include "station/door/problem.h"
#include "station/store/device_registry.h"

namespace orvix::station {
namespace {

// Each waits on its bus for those that came after it.
constexpr int kMostReads = 8;

void WriteDown(const std::string& database, const std::string& portPath, int address,
               const std::optional<std::string>& name) {
    DeviceRegistry registry(database);
    if (name) {
        registry.Rename(portPath, address, *name);
    } else {
        registry.Remove(portPath, address);
    }
}

}  // namespace

RunActions::RunActions(StationRun& run, SlowAnswers& slow, const StationSetup& setup, std::string database,
                       Output& output)
    : m_Run(run), m_Slow(slow), m_Setup(setup), m_Database(std::move(database)), m_Output(output) {}

void RunActions::Read(const DeviceId& place, ORVIXCNB1_VARS variable, std::function<void(const Reading&)> done) {
    if (*m_Reads >= kMostReads) throw ProblemError(503, "too many readings are being waited for");
    // Counts even when the bus goes first, and nobody is called.
    ++*m_Reads;
    const std::shared_ptr<void> counted(nullptr, [reads = m_Reads](void*) { --*reads; });
    try {
        m_Run.Read(place, variable, [counted, done = std::move(done)](const Reading& reading) { done(reading); });
    } catch (const Error& error) {
        throw ProblemError(503, error.Description);
    }
}

void RunActions::CheckIsKnown(const std::string& port) const {
    const auto bus = std::find_if(m_Setup.Buses.begin(), m_Setup.Buses.end(),
                                  [&](const BusSetup& one) { return one.PortLabel == port; });
    if (bus == m_Setup.Buses.end() || bus->PortPath.empty()) {
        throw ProblemError(409, "the devices of " + port + " are simulated: name others with --device");
    }
    if (!bus->Devices.empty()) {
        throw ProblemError(409, "the devices of " + port +
                                    " are named in the configuration file or on the command line: change them there");
    }
}

void RunActions::Change(const DeviceId& place, const std::optional<std::string>& name, std::function<void()> done) {
    CheckIsKnown(place.Port);
    const auto bus = m_Run.SetupOn(place.Port);
    m_Slow.Do([this, place, name, done = std::move(done), database = m_Database, path = bus->PortPath,
               &home = m_Slow.Home()] {
        try {
            WriteDown(database, path, place.Address, name);
        } catch (const std::exception& error) {
            home.Post([this, text = std::string(error.what())] { m_Output.Note("devices: " + text); });
            return;
        }
        home.Post([this, place, name, done] {
            Apply(place, name);
            done();
        });
    });
}

void RunActions::Apply(const DeviceId& place, const std::optional<std::string>& name) {
    auto buses = m_Run.Setups();
    for (auto& bus : buses) {
        if (bus.PortLabel != place.Port) continue;
        if (!name) std::erase_if(bus.Devices, [&](const DeviceSetup& one) { return one.Address == place.Address; });
        for (auto& device : bus.Devices) {
            if (name && device.Address == place.Address) device.Name = *name;
        }
    }
    for (const auto& text : m_Run.Apply(buses))
        m_Output.Note(text);
}

}  // namespace orvix::station
