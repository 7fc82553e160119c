#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/iOrvixAdapter.h"
#include "host/iOrvixDevToAdapt.h"
#include "host/iOrvixDevice.h"
#include "host/iOrvixTask.h"
#include "tests/support/fake_property.h"

namespace orvix::tests {

/// The adapter as a device sees it: a port, a plant registry, and a record of what devices ask for and tell. What an
/// adapter does beyond that it does not do.
class FakeAdapter : public iOrvixAdapter, public iOrvixDevToAdapt {
public:
    orvix::SQLPlantDevices* Plant = nullptr;

    std::vector<std::shared_ptr<iOrvixTask>> Tasks;
    /// "new task:name", "monitor changed:address", "changed:VarID", in order.
    std::vector<std::string> Events;
    std::vector<std::string> Take() { return std::exchange(Events, {}); }

private:
    bool iOrvixDevToAdapt_NewTask(const std::shared_ptr<iOrvixTask>& Task, std::int32_t) override {
        Tasks.push_back(Task);
        Events.push_back("new task:" + Task->Name());
        return true;
    }
    void iOrvixDevToAdapt_DeviceMonitorChanged(iOrvixDevice& Device) override {
        Events.push_back("monitor changed:" + Device.Address());
    }
    void iOrvixDevToAdapt_DeviceVarChanged(iOrvixDevice&, VariableRecord& Var) override {
        Events.push_back("changed:" + std::to_string(Var.VarID()));
    }

    NB1_FAKE_PROPERTY(iOrvixAdapter, std::string, Path);
    std::string iOrvixAdapter_Address() const override { return {}; }
    std::int32_t iOrvixAdapter_AdapterType() const override { return 2; }
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::shared_ptr<iOrvixDriver>, Driver) = nullptr;
    iOrvixDevices* iOrvixAdapter_Devices() const override { return nullptr; }
    iOrvixDevices* iOrvixAdapter_UnregisteredDevices() const override { return nullptr; }
    orvix::SQLDevices* iOrvixAdapter_SQLDevices() const override { return nullptr; }
    orvix::SQLPlantDevices* iOrvixAdapter_SQLPlantDevices() const override { return Plant; }
    NB1_FAKE_PROPERTY(iOrvixAdapter, bool, MonitorNet) = false;
    NB1_FAKE_PROPERTY(iOrvixAdapter, bool, MonitorVars) = false;
    bool iOrvixAdapter_Networking() const override { return false; }
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::int32_t, NetTimeoutShortInterval) = 0;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::int32_t, NetTimeoutLongInterval) = 0;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::int32_t, NetRetry) = 0;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::int32_t, PortType) = 2;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::string, PortAddress) = "3";
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::string, PortSettings);
    NB1_FAKE_PROPERTY(iOrvixAdapter, bool, IdleAllowed) = false;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::int32_t, IdleMsecs) = 0;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::int32_t, IdleAfterErrorMsecs) = 0;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::int32_t, PollingMSecs) = 0;
    NB1_FAKE_PROPERTY(iOrvixAdapter, bool, OnLine) = false;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::string, ServerIPCName);
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::string, SubscriberIPCName);
    NB1_FAKE_PROPERTY(iOrvixAdapter, bool, DebugMode) = false;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::int16_t, LogMode) = 0;
    NB1_FAKE_PROPERTY(iOrvixAdapter, std::string, LogPath);
    NB1_FAKE_PROPERTY(iOrvixAdapter, bool, Simulation) = false;
    std::int32_t iOrvixAdapter_ThreadID() const override { return 1; }
    void iOrvixAdapter_Init() override {}
    std::shared_ptr<iOrvixDevice> iOrvixAdapter_DeviceAdd(const std::string&, std::int32_t) override { return nullptr; }
    void iOrvixAdapter_DeviceRemove(const std::string&) override {}
    bool iOrvixAdapter_DeviceExists(const std::string&) override { return false; }
    bool iOrvixAdapter_NewWork(const std::string&, std::int32_t) override { return false; }
};

}  // namespace orvix::tests
