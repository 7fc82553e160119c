#include <algorithm>

#include "adapter/cOrvixAdapterNB1.h"
#include "host/text.h"

namespace orvix {

namespace {

constexpr std::int32_t kReadByPolling = 1;

}  // namespace

void cOrvixAdapterNB1::m_tmrPolling_Tick() {
    if (!m_OnLine) return;
    m_NetDiscoveryDone = false;
    WakeLoop();
}

void cOrvixAdapterNB1::m_tmrPollingDevices_Tick() {
    if (!m_OnLine) return;
    m_VarPollingArmed = false;
    WakeLoop();
}

void cOrvixAdapterNB1::ApplyPollingSettings() {
    m_NetDiscoveryDone = !m_MonitorNet;
    m_VarPollingArmed = !m_MonitorVars;
    Rearm(m_tmrPolling, m_PollingMSecs, m_MonitorNet && m_OnLine);
    Rearm(m_tmrPollingDevices, m_VarPollingInterval, m_MonitorVars && m_OnLine);
    WakeLoop();
}

void cOrvixAdapterNB1::iOrvixDevToAdapt_DeviceMonitorChanged(iOrvixDevice&) {
    m_VarPollingArmed = false;
    WakeLoop();
}

void cOrvixAdapterNB1::iOrvixDevToAdapt_DeviceVarChanged(iOrvixDevice& Device, VariableRecord& Var) {
    const char* message = nullptr;
    switch (Var.VarID()) {
        case ORVIXCNB1_VAR_TEMPERATURE:
            message = "DEVICE_TEMPERATURE_CHANGED";
            break;
        case ORVIXCNB1_VAR_STATUS:
            message = "DEVICE_STATUS_CHANGED";
            break;
        case ORVIXCNB1_VAR_TEMP_LOG:
            message = "DEVICE_TEMPLOG_CHANGED";
            break;
        case ORVIXCNB1_VAR_ALMOST_ONE_ALARM:
            message = "DEVICE_ALARM_CHANGED";
            break;
        default:
            return;
    }
    SendToHost(JoinFields({message, Device.Address()}));
}

void cOrvixAdapterNB1::PlanPolling() {
    if (m_MonitorNet && !m_NetDiscoveryDone) PlanDiscovery();
    if (m_MonitorVars && !m_VarPollingArmed) PlanVariables();
}

void cOrvixAdapterNB1::PlanDiscovery() {
    DebugComm(" POLLING", "START POLLING");
    m_NetDiscoveryDone = true;
    const TaskRef task = NewTaskWithID();
    task->GetDeviceList(0);
    m_Tasks.Append(task);
}

void cOrvixAdapterNB1::PlanVariables() {
    m_VarPollingArmed = true;
    m_VarPollingInterval = m_PollingMSecs;
    for (const auto& device : m_DevicesEvt->NewEnum()) {
        if (!IsPolled(*device)) continue;
        for (const auto& [key, variable] : device->VarsEx()) {
            if (variable->MonitorFlag() == kReadByPolling) PlanVariable(*device, *variable);
        }
    }
    m_VarPollingInterval = std::max(m_VarPollingInterval, kShortestInterval);
    if (m_VarPollingInterval != m_tmrPollingDevices->Interval()) {
        Rearm(m_tmrPollingDevices, m_VarPollingInterval, true);
    }
}

bool cOrvixAdapterNB1::IsPolled(const iOrvixDevice& device) const {
    // Only discovery can tell that a device is not there.
    return device.Monitor() && (device.ConnectedEx() || !m_MonitorNet);
}

void cOrvixAdapterNB1::PlanVariable(const iOrvixDevice& device, const VariableRecord& variable) {
    if (variable.MonitorInterval() > 0)
        m_VarPollingInterval = std::min(m_VarPollingInterval, variable.MonitorInterval());
    if (!variable.Monitored()) return;
    m_Tracer.TraceEvent("OrvixNimbo1Lib.cOrvixAdapterNB1.m_tmrComm_Tick Polling Var " + variable.Tag() + " - " +
                        variable.Description());
    const TaskRef task = NewTaskWithID();
    task->DeviceAddress(device.Address());
    task->DeviceModel(device.DeviceModel());
    task->GetVar(static_cast<ORVIXCNB1_VARS>(variable.VarID()));
    task->Name("(Polling) " + task->Name());
    m_Tasks.Append(task);
}

}  // namespace orvix
