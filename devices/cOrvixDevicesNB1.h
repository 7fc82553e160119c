#pragma once

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "devices/iOrvixNB1Devices.h"
#include "diagnostics/basPlexaErr.h"
#include "host/iOrvixDevices.h"
#include "host/object.h"
#include "host/services.h"
#include "host/variant.h"

namespace orvix {

/// The adapter's set of devices, and all their variable records in one collection.
class cOrvixDevicesNB1 final : public Object, public iOrvixDevices, public iOrvixNB1Devices {
public:
    explicit cOrvixDevicesNB1(const Services& services);
    ~cOrvixDevicesNB1() override;

private:
    using DeviceRef = std::shared_ptr<iOrvixDevice>;

    struct Member {
        DeviceRef Device;
        /// What the device put into the aggregate collection; its own collection may change meanwhile.
        VariableCollection Published;
    };

    std::shared_ptr<iOrvixDevice> Create(std::int32_t DeviceModel) const;
    void Enter(const std::string& Address, const DeviceRef& device);
    void Publish(Member& member);
    void Withdraw(const Member& member);
    DeviceRef Restore(const std::string& Address, const std::string& name, ByteView state);
    void NotifyItemsChanged();

    std::int32_t iOrvixDevices_ThreadID() const override { return m_Services.Apartment.ThreadID(); }
    iOrvixAdapter* iOrvixDevices_Adapter() const override { return m_Adapter; }
    void iOrvixDevices_Adapter(iOrvixAdapter* rhs) override { m_Adapter = rhs; }
    VariableCollection& iOrvixDevices_VarsEx() override { return m_VarsEx; }
    std::vector<DeviceRef> iOrvixDevices_NewEnum() const override { return m_Items; }
    Object* iOrvixDevices_Intrf(const std::string&) override { return nullptr; }
    bool iOrvixDevices_Exists(const std::string& Address) const override;
    DeviceRef iOrvixDevices_Item(const std::string& Address) const override;
    std::int32_t iOrvixDevices_Count() const override { return static_cast<std::int32_t>(m_Items.size()); }
    DeviceRef iOrvixDevices_Add(const std::string& Address, std::int32_t DeviceModel) override;
    DeviceRef iOrvixDevices_AddFromFile(const std::string& PathFile) override;
    void iOrvixDevices_Remove(const std::string& Address) override;
    void iOrvixDevices_Destroy() override { ReleaseAll(); }
    void ReleaseAll();
    EventConnection iOrvixNB1Devices_ItemsChanged(std::function<void()> handler) override;

    const Services& m_Services;
    cPlexaERR PlexaERR;
    std::vector<DeviceRef> m_Items;
    std::unordered_map<std::string, Member> m_ByKey;
    VariableCollection m_VarsEx;
    iOrvixAdapter* m_Adapter = nullptr;
    std::vector<std::weak_ptr<const std::function<void()>>> m_Listeners;
};

}  // namespace orvix
