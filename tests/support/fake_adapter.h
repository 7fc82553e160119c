#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/iOrvixAdapter.h"
#include "host/iOrvixDevToAdapt.h"
#include "host/iOrvixDevice.h"
#include "host/iOrvixTask.h"

namespace orvix::tests {

/// The adapter as a device sees it: a port, a plant registry, and a record of what devices ask for and tell. What an
/// adapter does beyond that it does not do.
class FakeAdapter : public iOrvixAdapter, public iOrvixDevToAdapt {
public:
    std::int32_t Type = 2;
    std::string Port = "3";
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

    std::string iOrvixAdapter_Path() const override { return {}; }
    void iOrvixAdapter_Path(std::string) override {}
    std::string iOrvixAdapter_Address() const override { return {}; }
    std::int32_t iOrvixAdapter_AdapterType() const override { return 2; }
    std::shared_ptr<iOrvixDriver> iOrvixAdapter_Driver() const override { return nullptr; }
    void iOrvixAdapter_Driver(std::shared_ptr<iOrvixDriver>) override {}
    iOrvixDevices* iOrvixAdapter_Devices() const override { return nullptr; }
    iOrvixDevices* iOrvixAdapter_UnregisteredDevices() const override { return nullptr; }
    orvix::SQLDevices* iOrvixAdapter_SQLDevices() const override { return nullptr; }
    orvix::SQLPlantDevices* iOrvixAdapter_SQLPlantDevices() const override { return Plant; }
    bool iOrvixAdapter_MonitorNet() const override { return false; }
    void iOrvixAdapter_MonitorNet(bool) override {}
    bool iOrvixAdapter_MonitorVars() const override { return false; }
    void iOrvixAdapter_MonitorVars(bool) override {}
    bool iOrvixAdapter_Networking() const override { return false; }
    std::int32_t iOrvixAdapter_NetTimeoutShortInterval() const override { return 0; }
    void iOrvixAdapter_NetTimeoutShortInterval(std::int32_t) override {}
    std::int32_t iOrvixAdapter_NetTimeoutLongInterval() const override { return 0; }
    void iOrvixAdapter_NetTimeoutLongInterval(std::int32_t) override {}
    std::int32_t iOrvixAdapter_NetRetry() const override { return 0; }
    void iOrvixAdapter_NetRetry(std::int32_t) override {}
    std::int32_t iOrvixAdapter_PortType() const override { return Type; }
    void iOrvixAdapter_PortType(std::int32_t rhs) override { Type = rhs; }
    std::string iOrvixAdapter_PortAddress() const override { return Port; }
    void iOrvixAdapter_PortAddress(std::string rhs) override { Port = std::move(rhs); }
    std::string iOrvixAdapter_PortSettings() const override { return {}; }
    void iOrvixAdapter_PortSettings(std::string) override {}
    bool iOrvixAdapter_IdleAllowed() const override { return false; }
    void iOrvixAdapter_IdleAllowed(bool) override {}
    std::int32_t iOrvixAdapter_IdleMsecs() const override { return 0; }
    void iOrvixAdapter_IdleMsecs(std::int32_t) override {}
    std::int32_t iOrvixAdapter_IdleAfterErrorMsecs() const override { return 0; }
    void iOrvixAdapter_IdleAfterErrorMsecs(std::int32_t) override {}
    std::int32_t iOrvixAdapter_PollingMSecs() const override { return 0; }
    void iOrvixAdapter_PollingMSecs(std::int32_t) override {}
    bool iOrvixAdapter_OnLine() const override { return false; }
    void iOrvixAdapter_OnLine(bool) override {}
    std::string iOrvixAdapter_ServerIPCName() const override { return {}; }
    void iOrvixAdapter_ServerIPCName(std::string) override {}
    std::string iOrvixAdapter_SubscriberIPCName() const override { return {}; }
    void iOrvixAdapter_SubscriberIPCName(std::string) override {}
    bool iOrvixAdapter_DebugMode() const override { return false; }
    void iOrvixAdapter_DebugMode(bool) override {}
    std::int16_t iOrvixAdapter_LogMode() const override { return 0; }
    void iOrvixAdapter_LogMode(std::int16_t) override {}
    std::string iOrvixAdapter_LogPath() const override { return {}; }
    void iOrvixAdapter_LogPath(std::string) override {}
    bool iOrvixAdapter_Simulation() const override { return false; }
    void iOrvixAdapter_Simulation(bool) override {}
    std::int32_t iOrvixAdapter_ThreadID() const override { return 1; }
    void iOrvixAdapter_Init() override {}
    std::shared_ptr<iOrvixDevice> iOrvixAdapter_DeviceAdd(const std::string&, std::int32_t) override { return nullptr; }
    void iOrvixAdapter_DeviceRemove(const std::string&) override {}
    bool iOrvixAdapter_DeviceExists(const std::string&) override { return false; }
    bool iOrvixAdapter_NewWork(const std::string&, std::int32_t) override { return false; }
};

}  // namespace orvix::tests
