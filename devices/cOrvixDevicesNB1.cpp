#include "devices/cOrvixDevicesNB1.h"

#include <algorithm>

#include "devices/cOrvixNB1DM.h"
#include "devices/cOrvixNB1TP.h"
#include "devices/protocol/basOrvixNB1.h"
#include "host/property_bag.h"
#include "host/text.h"

namespace orvix {

namespace {

Error UnsupportedModel(std::int32_t model) {
    return Error(errors::General, "Unsupported device model" + NumberText(model));
}

}  // namespace

cOrvixDevicesNB1::cOrvixDevicesNB1(const Services& services) : m_Services(services), PlexaERR(services) {}

cOrvixDevicesNB1::~cOrvixDevicesNB1() {
    ReleaseAll();
}

void cOrvixDevicesNB1::ReleaseAll() {
    while (!m_Items.empty()) {
        const DeviceRef device = m_Items.front();
        m_Items.erase(m_Items.begin());
        Attempt([&] { device->Destroy(); });
    }
    m_ByKey.clear();
    m_VarsEx.Clear();
    m_Adapter = nullptr;
}

bool cOrvixDevicesNB1::iOrvixDevices_Exists(const std::string& Address) const {
    return m_ByKey.contains(DeviceKey(Address));
}

std::shared_ptr<iOrvixDevice> cOrvixDevicesNB1::iOrvixDevices_Item(const std::string& Address) const {
    const auto found = m_ByKey.find(DeviceKey(Address));
    if (found == m_ByKey.end()) throw Error(errors::MissingItem, "There is no device at address " + Address);
    return found->second.Device;
}

std::shared_ptr<iOrvixDevice> cOrvixDevicesNB1::iOrvixDevices_Add(const std::string& Address,
                                                                  std::int32_t DeviceModel) {
    try {
        DeviceRef device = Create(DeviceModel);
        device->Adapter(m_Adapter);
        device->Address(Address);
        Enter(Address, device);
        Publish(m_ByKey.at(DeviceKey(Address)));
        NotifyItemsChanged();
        return device;
    } catch (...) {
        PlexaERR.ReportIn("cOrvixDevices.Add(Address$,DeviceModel)");
        return nullptr;
    }
}

std::shared_ptr<iOrvixDevice> cOrvixDevicesNB1::Create(std::int32_t DeviceModel) const {
    switch (DeviceModel) {
        case kDigitalModuleModel:
            return std::make_shared<cOrvixNB1DM>(m_Services);
        case kTemperatureSensorModel:
            return std::make_shared<cOrvixNB1TP>(m_Services);
        default:
            throw UnsupportedModel(DeviceModel);
    }
}

void cOrvixDevicesNB1::Enter(const std::string& Address, const DeviceRef& device) {
    if (!m_ByKey.try_emplace(DeviceKey(Address), Member{device, {}}).second) {
        throw Error(errors::General, "There is a device at address " + Address + " already");
    }
    m_Items.push_back(device);
}

/// Puts the device's records into the aggregate collection, in place of others with the same tags.
void cOrvixDevicesNB1::Publish(Member& member) {
    for (const auto& [key, record] : member.Device->VarsEx()) {
        if (m_VarsEx.Exists(record->Tag())) m_VarsEx.Remove(record->Tag());
        m_VarsEx.Add(record->Tag(), record);
        member.Published.Add(record->Tag(), record);
    }
}

/// Takes them out again, but not those that stand there in their place.
void cOrvixDevicesNB1::Withdraw(const Member& member) {
    for (const auto& [tag, record] : member.Published) {
        if (m_VarsEx.Exists(tag) && m_VarsEx.Item(tag) == record) m_VarsEx.Remove(tag);
    }
}

std::shared_ptr<iOrvixDevice> cOrvixDevicesNB1::iOrvixDevices_AddFromFile(const std::string& PathFile) {
    try {
        const ByteArray state = m_Services.Stores.Files().ReadAll(PathFile);
        const PropertyBag bag(state);
        const std::string savedAddress = bag.ReadProperty("Address").ToText();
        const std::int32_t model = bag.ReadProperty("DeviceModel").ToLong();
        const std::string name = m_Services.Stores.Paths().DisplayName(PathFile);
        if (model != kTemperatureSensorModel) throw UnsupportedModel(model);
        const std::string address = FileDeviceAddress(savedAddress);
        DeviceRef device = iOrvixDevices_Exists(address) ? iOrvixDevices_Item(address) : Restore(address, name, state);
        NotifyItemsChanged();
        return device;
    } catch (...) {
        PlexaERR.ReportIn("cOrvixDevicesNB1.iOrvixDevices_AddFromFile(PathFile)");
        return nullptr;
    }
}

/// A restored device keeps its records to itself: the aggregate collection is that of the live ones.
std::shared_ptr<iOrvixDevice> cOrvixDevicesNB1::Restore(const std::string& Address, const std::string& name,
                                                        ByteView state) {
    const auto device = std::make_shared<cOrvixNB1TP>(m_Services);
    static_cast<iOrvixDevice&>(*device).Adapter(m_Adapter);
    device->Restore(state, Address, name);
    Enter(Address, device);
    device->NotifyRestored();
    return device;
}

void cOrvixDevicesNB1::iOrvixDevices_Remove(const std::string& Address) {
    try {
        const auto found = m_ByKey.find(DeviceKey(Address));
        if (found == m_ByKey.end()) throw UnsupportedModel(0);
        const Member member = std::move(found->second);
        m_ByKey.erase(found);
        std::erase(m_Items, member.Device);
        Withdraw(member);
        member.Device->Destroy();
    } catch (...) {
        PlexaERR.ReportIn("cOrvixDevices.RemoveEX(Address$)");
    }
}

EventConnection cOrvixDevicesNB1::iOrvixNB1Devices_ItemsChanged(std::function<void()> handler) {
    std::erase_if(m_Listeners, [](const auto& listener) { return listener.expired(); });
    auto connection = std::make_shared<std::function<void()>>(std::move(handler));
    m_Listeners.emplace_back(connection);
    return connection;
}

void cOrvixDevicesNB1::NotifyItemsChanged() {
    const auto listeners = m_Listeners;  // a handler may add one
    for (const auto& listener : listeners) {
        const auto handler = listener.lock();
        if (!handler) continue;
        try {
            (*handler)();
        } catch (...) {
            PlexaERR.ReportIn("cOrvixDevicesNB1.ItemsChanged");
        }
    }
}

}  // namespace orvix
