#include "station/model/device_setup.h"

#include <algorithm>

namespace orvix::station {
namespace {

const DeviceSetup* DeviceAt(int address, const std::vector<DeviceSetup>& devices) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const DeviceSetup& device) { return device.Address == address; });
    return found == devices.end() ? nullptr : &*found;
}

}  // namespace

DeviceChanges ChangesBetween(const std::vector<DeviceSetup>& from, const std::vector<DeviceSetup>& to) {
    DeviceChanges changes;
    for (const auto& device : from) {
        const auto* wanted = DeviceAt(device.Address, to);
        if (wanted == nullptr || wanted->Model != device.Model) changes.Removed.push_back(device.Address);
    }
    for (const auto& device : to) {
        const auto* running = DeviceAt(device.Address, from);
        if (running == nullptr || running->Model != device.Model) {
            changes.Added.push_back(device);
            continue;
        }
        // Without a name the device keeps the one that it has.
        if (!device.Name.empty() && running->Name != device.Name) changes.Renamed.push_back(device);
        if (running->Limits != device.Limits) changes.OtherLimits.push_back(device);
    }
    return changes;
}

}  // namespace orvix::station
