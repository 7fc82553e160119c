#include "station/run/bus_change.h"

#include <algorithm>

namespace orvix::station {
namespace {

const BusSetup* BusOn(const std::string& port, const std::vector<BusSetup>& buses) {
    const auto found =
        std::find_if(buses.begin(), buses.end(), [&](const BusSetup& bus) { return bus.PortLabel == port; });
    return found == buses.end() ? nullptr : &*found;
}

bool UsesLineAlike(BusSetup one, BusSetup other) {
    one.Devices.clear();
    other.Devices.clear();
    return one == other;
}

std::string TextOf(const DeviceChanges& changes) {
    std::string text;
    const auto add = [&](const char* verb, int address, const std::string& more = {}) {
        text += (text.empty() ? "" : ", ") + std::string(verb) + " device " + std::to_string(address) + more;
    };
    for (const auto address : changes.Removed)
        add("removed", address);
    for (const auto& device : changes.Added)
        add("added", device.Address);
    for (const auto& device : changes.Renamed)
        add("renamed", device.Address, " to " + device.Name);
    for (const auto& device : changes.OtherLimits)
        add("changed the limits of", device.Address);
    return text;
}

}  // namespace

std::vector<BusChange> ChangesBetween(const std::vector<BusSetup>& running, const std::vector<BusSetup>& wanted) {
    using Kind = BusChange::Kind;
    std::vector<BusChange> changes;
    for (const auto& bus : running) {
        if (BusOn(bus.PortLabel, wanted) == nullptr) changes.push_back({Kind::Stop, bus.PortLabel, "stopped"});
    }
    for (const auto& bus : wanted) {
        const auto* before = BusOn(bus.PortLabel, running);
        if (before == nullptr) {
            changes.push_back({Kind::Start, bus.PortLabel, "started"});
        } else if (!UsesLineAlike(*before, bus)) {
            changes.push_back({Kind::Restart, bus.PortLabel, "restarts with changed settings"});
        } else if (auto text = TextOf(ChangesBetween(before->Devices, bus.Devices)); !text.empty()) {
            changes.push_back({Kind::Devices, bus.PortLabel, std::move(text)});
        }
    }
    return changes;
}

}  // namespace orvix::station
