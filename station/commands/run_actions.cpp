#include "station/commands/run_actions.h"

#include <algorithm>
#include <utility>

#include "host/error.h"
#include "station/door/problem.h"
#include "station/run/capacity.h"

namespace orvix::station {
namespace {

// Each waits on its bus for those that came after it.
constexpr int kMostWaiting = 8;

}  // namespace

RunActions::RunActions(StationRun& run, SlowAnswers& slow, const StationSetup& setup, std::string database,
                       Output& output)
    : m_Run(run), m_Slow(slow), m_Setup(setup), m_Database(std::move(database)), m_Output(output) {}

std::shared_ptr<void> RunActions::Wait() {
    if (*m_Waiting >= kMostWaiting) throw ProblemError(503, "too many readings are already waiting");
    ++*m_Waiting;
    return {nullptr, [waiting = m_Waiting](void*) { --*waiting; }};
}

void RunActions::Read(const DeviceId& place, ORVIXCNB1_VARS variable, std::function<void(const Reading&)> done) {
    try {
        m_Run.Read(place, variable,
                   [counted = Wait(), done = std::move(done)](const Reading& reading) { done(reading); });
    } catch (const Error& error) {
        throw ProblemError(503, error.Description);
    }
}

void RunActions::Export(const DeviceId& place, std::int32_t format, std::function<void(const DeviceFile&)> done) {
    try {
        m_Run.Export(place, format, [counted = Wait(), done = std::move(done)](const DeviceFile& file) { done(file); });
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

void RunActions::Add(const std::string& bus, const DeviceSetup& device, Done done) {
    const auto add = [device](DeviceRegistry& registry, const std::string& port) {
        registry.Remember({port, device.Address, device.Model, device.Name, {}});
    };
    MakeChange(bus, add, std::move(done));
}

void RunActions::Rename(const DeviceId& place, const std::string& name, Done done) {
    const auto rename = [address = place.Address, name](DeviceRegistry& registry, const std::string& port) {
        registry.Rename(port, address, name);
    };
    MakeChange(place.Port, rename, std::move(done));
}

void RunActions::Remove(const DeviceId& place, Done done) {
    const auto remove = [address = place.Address](DeviceRegistry& registry, const std::string& port) {
        registry.Remove(port, address);
    };
    MakeChange(place.Port, remove, std::move(done));
}

void RunActions::MakeChange(const std::string& bus, Change change, Done done) {
    const auto setup = m_Run.SetupOn(bus);
    if (!setup) throw ProblemError(404, "no bus " + bus + " is being read now");
    CheckIsKnown(bus);
    m_Slow.Do([this, bus, change = std::move(change), done = std::move(done), path = setup->PortPath,
               database = m_Database, &home = m_Slow.Home()] {
        try {
            DeviceRegistry registry(database);
            change(registry, path);
            home.Post([this, bus, done, known = registry.Devices(path)] {
                Apply(bus, known);
                done(std::nullopt);
            });
        } catch (const std::exception& error) {
            home.Post([done, text = std::string(error.what())] { done(text); });
        }
    });
}

void RunActions::Apply(const std::string& bus, const std::vector<KnownDevice>& known) {
    auto buses = m_Run.Setups();
    for (auto& one : buses) {
        if (one.PortLabel != bus) continue;
        one.Devices.clear();
        for (const auto& device : known)
            one.Devices.push_back({device.Address, device.Model, device.Name, {}});
        if (const auto sentence = FitPeriod(one)) m_Output.Note(bus + ": " + *sentence);
    }
    for (const auto& text : m_Run.Apply(buses))
        m_Output.Note(text);
}

}  // namespace orvix::station
