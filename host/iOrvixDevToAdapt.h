#pragma once

#include <cstdint>
#include <memory>

namespace orvix {

class VariableRecord;
class iOrvixDevice;
class iOrvixTask;

/// What a device asks of its adapter.
class iOrvixDevToAdapt {
public:
    virtual ~iOrvixDevToAdapt() = default;

    /// Queues a task; priority 1 puts it first. Returns true.
    bool NewTask(const std::shared_ptr<iOrvixTask>& Task, std::int32_t Priority) {
        return iOrvixDevToAdapt_NewTask(Task, Priority);
    }
    void DeviceMonitorChanged(iOrvixDevice& Device) { iOrvixDevToAdapt_DeviceMonitorChanged(Device); }
    void DeviceVarChanged(iOrvixDevice& Device, VariableRecord& Var) { iOrvixDevToAdapt_DeviceVarChanged(Device, Var); }

private:
    virtual bool iOrvixDevToAdapt_NewTask(const std::shared_ptr<iOrvixTask>& Task, std::int32_t Priority) = 0;
    virtual void iOrvixDevToAdapt_DeviceMonitorChanged(iOrvixDevice& Device) = 0;
    virtual void iOrvixDevToAdapt_DeviceVarChanged(iOrvixDevice& Device, VariableRecord& Var) = 0;
};

}  // namespace orvix
