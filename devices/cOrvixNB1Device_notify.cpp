#include "devices/cOrvixNB1Device.h"
#include "host/database.h"
#include "host/iOrvixAdapter.h"
#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"

namespace orvix {

iOrvixDevToAdapt& cOrvixNB1Device::ToAdapter() const {
    auto* adapter = dynamic_cast<iOrvixDevToAdapt*>(m_Adapter);
    if (!adapter) throw Error(errors::MissingItem, "The device has no adapter");
    return *adapter;
}

orvix::SQLPlantDevices& cOrvixNB1Device::PlantDevices() const {
    auto* registry = m_Adapter ? m_Adapter->SQLPlantDevices() : nullptr;
    if (!registry) throw Error(errors::MissingItem, "The device has no plant registry");
    return *registry;
}

/// Whoever notifies holds it: a listener may destroy the device.
std::shared_ptr<cOrvixNB1Mission> cOrvixNB1Device::LiveMission() const {
    if (!m_Mission) throw Error(errors::MissingItem, "The device has been destroyed");
    return m_Mission;
}

void cOrvixNB1Device::ApplyStatus(const std::string& Status, bool Rename, bool Notify) {
    const auto mission = LiveMission();
    if (!mission->GetStatusLoaded()) mission->CommitName();
    mission->SetStatus(Status);
    if (Rename) {
        PlantDevices().SetName(SerialNumberValue().ToText(), mission->GetNewName());
        mission->CommitName();
    }
    if (Notify) NotifyStatusIntake();
}

void cOrvixNB1Device::NotifyStatusIntake() {
    const auto mission = LiveMission();
    if (mission->IsStatusChanged()) NotifyStatusChanged();
    if (mission->IsTempLogChanged()) {
        if (!mission->GetTempLogLoaded()) RequestVarToAdapter(ORVIXCNB1_VAR_TEMP_LOG);
        NotifyTempLogChanged();
    }
    if (mission->GetNewAlarm()) NotifyNewAlarm();
}

void cOrvixNB1Device::RequestVarToAdapter(ORVIXCNB1_VARS VarID) {
    try {
        const auto task = std::make_shared<cOrvixTaskNB1>(m_Services);
        iOrvixTaskNB1& request = *task;
        request.DeviceAddress(m_Address);
        request.DeviceModel(m_Model.DeviceModel);
        request.GetVar(VarID);
        ToAdapter().NewTask(task, 0);
    } catch (...) {
        PlexaERR.ReportIn("RequestVarToAdapter");
    }
}

void cOrvixNB1Device::NotifyMonitorChanged() {
    Attempt([&] { ToAdapter().DeviceMonitorChanged(*this); });
}

void cOrvixNB1Device::NotifyStatusChanged() {
    Attempt([&] { LiveMission()->SetStatusChanged(false); });
    NotifyVar(ORVIXCNB1_VAR_STATUS);
}

void cOrvixNB1Device::NotifyTempLogChanged() {
    Attempt([&] { LiveMission()->SetTempLogChanged(false); });
    NotifyVar(ORVIXCNB1_VAR_TEMP_LOG);
}

void cOrvixNB1Device::NotifyNewAlarm() {
    Attempt([&] { LiveMission()->SetNewAlarm(false); });
    NotifyVar(ORVIXCNB1_VAR_ALMOST_ONE_ALARM);
}

void cOrvixNB1Device::NotifyVar(ORVIXCNB1_VARS VarID) {
    Attempt([&] { ToAdapter().DeviceVarChanged(*this, *Record(VarID)); });
}

}  // namespace orvix
