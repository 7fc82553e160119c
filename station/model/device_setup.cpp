#include "station/model/device_setup.h"

#include <algorithm>

namespace orvix::station {

const DeviceSetup* DeviceAt(int address, const std::vector<DeviceSetup>& devices) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const DeviceSetup& device) { return device.Address == address; });
    return found == devices.end() ? nullptr : &*found;
}

const DeviceSetup* SameDevice(const DeviceSetup& device, const std::vector<DeviceSetup>& devices) {
    const auto* same = DeviceAt(device.Address, devices);
    return same != nullptr && same->Model == device.Model ? same : nullptr;
}

DeviceChanges ChangesBetween(const std::vector<DeviceSetup>& from, const std::vector<DeviceSetup>& to) {
    DeviceChanges changes;
    for (const auto& device : from) {
        if (SameDevice(device, to) == nullptr) changes.Removed.push_back(device.Address);
    }
    for (const auto& device : to) {
        const auto* running = SameDevice(device, from);
        if (running == nullptr) {
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
