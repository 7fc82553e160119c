#include <algorithm>

#include "adapter/cOrvixAdapterNB1.h"
#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/device_models.h"
#include "host/database.h"
#include "host/text.h"

namespace orvix {

namespace {

/// Most addresses tell no model; a device that nobody has registered is then taken for a temperature sensor.
std::int32_t UnregisteredModel(const std::string& address) {
    return DeviceModelOf(ModelFromAddress(address)).DeviceModel;
}

bool Connect(iOrvixDevice& device) {
    if (device.ConnectedEx()) return false;
    device.ConnectedEx(true);
    return true;
}

/// Marks the devices that `stays` does not keep as not connected. Returns whether any was.
template <class Stays>
bool DisconnectOthers(const iOrvixDevices& devices, const Stays& stays) {
    bool changed = false;
    for (const auto& device : devices.NewEnum()) {
        if (!device->ConnectedEx() || stays(*device)) continue;
        device->ConnectedEx(false);
        changed = true;
    }
    return changed;
}

}  // namespace

std::shared_ptr<iOrvixDevice> cOrvixAdapterNB1::iOrvixAdapter_DeviceAdd(const std::string& Address,
                                                                        std::int32_t DeviceModel) {
    return m_Running ? m_DevicesEvt->Add(Address, DeviceModel) : nullptr;
}

void cOrvixAdapterNB1::iOrvixAdapter_DeviceRemove(const std::string& Address) {
    if (m_DevicesEvt->Exists(Address)) {
        m_DevicesEvt->Remove(Address);
        SendToHost("NetChanged");
    } else if (m_UnregisteredDevices->Exists(Address)) {
        m_UnregisteredDevices->Remove(Address);
        SendToHost("UnregisteredNetChanged");
    }
}

void cOrvixAdapterNB1::m_DevicesEvt_ItemsChanged() {
    if (!m_Mounting) SendToHost("NetChanged");
}

void cOrvixAdapterNB1::MountDevices(const VariantList& list) {
    if (!m_Running) return;
    m_Mounting = true;
    try {
        const NetChanges changes = MountListed(list);
        if (changes.Registered) SendToHost("NetChanged");
        if (changes.Unregistered) SendToHost("UnregisteredNetChanged");
    } catch (...) {
        const std::string description = CurrentError().Description;
        PlexaERR.ReportIn("OrvixNimbo1Lib.cOrvixAdapterNB1.MountDevices - ErrDescription");
        SendToHost(JoinFields({"ERROR", description}));
    }
    m_Mounting = false;
}

cOrvixAdapterNB1::NetChanges cOrvixAdapterNB1::MountListed(const VariantList& list) {
    NetChanges all;
    std::unordered_set<std::string> found;
    for (const Variant& item : list) {
        const std::string address = item.ToText();
        const NetChanges changes = MountAddress(address);
        all.Registered |= changes.Registered;
        all.Unregistered |= changes.Unregistered;
        found.insert(address);
    }
    if (!HasDeviceOfModel(kNetMasterModel)) NotifyActivity('1');
    const auto isFound = [&](const iOrvixDevice& device) { return found.contains(device.Address()); };
    all.Unregistered |= DisconnectOthers(*m_UnregisteredDevices, isFound);
    all.Registered |= DisconnectOthers(*m_DevicesEvt, [&](const iOrvixDevice& device) {
        return isFound(device) || device.DeviceOrigin() == kDeviceOriginFile ||
               ModelFromAddress(device.Address()) == kPermanentModel;
    });
    return all;
}

cOrvixAdapterNB1::NetChanges cOrvixAdapterNB1::MountAddress(const std::string& address) {
    NetChanges changes;
    if (m_DevicesEvt->Exists(address)) {
        changes.Registered = Connect(*m_DevicesEvt->Item(address));
    } else if (const auto registered = m_SQLDevices->Find(address)) {
        changes.Registered = MountRegistered(*registered);
    } else if (!m_UnregisteredDevices->Exists(address)) {
        changes.Unregistered = MountUnregistered(address);
    }
    return changes;
}

bool cOrvixAdapterNB1::MountRegistered(const RegisteredDevice& registered) {
    const auto device = m_DevicesEvt->Add(registered.Address, registered.DeviceModel);
    if (!device) return false;
    if (!registered.SerialNumber.empty()) device->SerialNumber(registered.SerialNumber);
    const std::string plantName = m_SQLPlantDevices->Name(registered.Address);
    if (!plantName.empty()) device->Name(plantName);
    device->ConnectedEx(true);
    return true;
}

bool cOrvixAdapterNB1::MountUnregistered(const std::string& address) {
    const auto device = m_UnregisteredDevices->Add(address, UnregisteredModel(address));
    if (!device) return false;
    device->Name(address);
    device->ConnectedEx(true);
    return true;
}

bool cOrvixAdapterNB1::HasDeviceOfModel(std::int32_t deviceModel) const {
    const auto isOfModel = [&](const auto& device) { return device->DeviceModel() == deviceModel; };
    const auto holdsOne = [&](const iOrvixDevices& devices) {
        return std::ranges::any_of(devices.NewEnum(), isOfModel);
    };
    return holdsOne(*m_DevicesEvt) || holdsOne(*m_UnregisteredDevices);
}

}  // namespace orvix
