#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "host/error.h"
#include "host/variant.h"

namespace orvix {

class iOrvixDevice;

/// One unit of work on one device.
class iOrvixTask {
public:
    virtual ~iOrvixTask() = default;

    /// Identifier given by the creator; the queue's key.
    std::string ID() const { return iOrvixTask_ID(); }
    void ID(std::string rhs) { iOrvixTask_ID(std::move(rhs)); }
    /// Parameters of the work, in order.
    VariantList& Params() { return iOrvixTask_Params(); }
    /// Results, in order.
    VariantList& RtnArgs() { return iOrvixTask_RtnArgs(); }
    /// Name of the task's shared memory entry; empty when it has none.
    std::string MemoryMapKey() const { return iOrvixTask_MemoryMapKey(); }
    void MemoryMapKey(std::string rhs) { iOrvixTask_MemoryMapKey(std::move(rhs)); }
    /// Display text.
    std::string Name() const { return iOrvixTask_Name(); }
    void Name(std::string rhs) { iOrvixTask_Name(std::move(rhs)); }
    /// Result code; 0 is success.
    ErrorNumber e() const { return iOrvixTask_e(); }
    void e(ErrorNumber rhs) { iOrvixTask_e(rhs); }
    /// Result text.
    std::string eDescr() const { return iOrvixTask_eDescr(); }
    void eDescr(std::string rhs) { iOrvixTask_eDescr(std::move(rhs)); }
    bool ContinueIfFail() const { return iOrvixTask_ContinueIfFail(); }
    void ContinueIfFail(bool rhs) { iOrvixTask_ContinueIfFail(rhs); }
    /// Time limit of the task in milliseconds, counted from the moment it is sent.
    std::int32_t TimeoutInterval() const { return iOrvixTask_TimeoutInterval(); }
    void TimeoutInterval(std::int32_t rhs) { iOrvixTask_TimeoutInterval(rhs); }
    /// Per-character time factor of the exchange, in milliseconds.
    std::int32_t NetTimeoutInterval() const { return iOrvixTask_NetTimeoutInterval(); }
    void NetTimeoutInterval(std::int32_t rhs) { iOrvixTask_NetTimeoutInterval(rhs); }
    /// The task is complete; writing true publishes the result.
    bool Executed() const { return iOrvixTask_Executed(); }
    void Executed(bool rhs) { iOrvixTask_Executed(rhs); }
    /// The device that the task addresses, or none. Writing it copies the device's model, address and origin.
    std::shared_ptr<iOrvixDevice> Device() const { return iOrvixTask_Device(); }
    void Device(std::shared_ptr<iOrvixDevice> rhs) { iOrvixTask_Device(std::move(rhs)); }
    std::string DeviceAddress() const { return iOrvixTask_DeviceAddress(); }
    void DeviceAddress(std::string rhs) { iOrvixTask_DeviceAddress(std::move(rhs)); }
    std::int32_t DeviceModel() const { return iOrvixTask_DeviceModel(); }
    void DeviceModel(std::int32_t rhs) { iOrvixTask_DeviceModel(rhs); }
    std::int32_t DeviceOrigin() const { return iOrvixTask_DeviceOrigin(); }
    void DeviceOrigin(std::int32_t rhs) { iOrvixTask_DeviceOrigin(rhs); }
    /// The task as the bytes of a property bag.
    ByteArray GetSuperState() const { return iOrvixTask_GetSuperState(); }
    /// Clears the task and loads it. Raises InvalidContents or MissingItem for bytes that hold no task.
    void SetSuperState(ByteView arState) { iOrvixTask_SetSuperState(arState); }
    void Clear() { iOrvixTask_Clear(); }
    /// Drops everything the task refers to.
    void Destroy() { iOrvixTask_Destroy(); }

private:
    virtual std::string iOrvixTask_ID() const = 0;
    virtual void iOrvixTask_ID(std::string rhs) = 0;
    virtual VariantList& iOrvixTask_Params() = 0;
    virtual VariantList& iOrvixTask_RtnArgs() = 0;
    virtual std::string iOrvixTask_MemoryMapKey() const = 0;
    virtual void iOrvixTask_MemoryMapKey(std::string rhs) = 0;
    virtual std::string iOrvixTask_Name() const = 0;
    virtual void iOrvixTask_Name(std::string rhs) = 0;
    virtual ErrorNumber iOrvixTask_e() const = 0;
    virtual void iOrvixTask_e(ErrorNumber rhs) = 0;
    virtual std::string iOrvixTask_eDescr() const = 0;
    virtual void iOrvixTask_eDescr(std::string rhs) = 0;
    virtual bool iOrvixTask_ContinueIfFail() const = 0;
    virtual void iOrvixTask_ContinueIfFail(bool rhs) = 0;
    virtual std::int32_t iOrvixTask_TimeoutInterval() const = 0;
    virtual void iOrvixTask_TimeoutInterval(std::int32_t rhs) = 0;
    virtual std::int32_t iOrvixTask_NetTimeoutInterval() const = 0;
    virtual void iOrvixTask_NetTimeoutInterval(std::int32_t rhs) = 0;
    virtual bool iOrvixTask_Executed() const = 0;
    virtual void iOrvixTask_Executed(bool rhs) = 0;
    virtual std::shared_ptr<iOrvixDevice> iOrvixTask_Device() const = 0;
    virtual void iOrvixTask_Device(std::shared_ptr<iOrvixDevice> rhs) = 0;
    virtual std::string iOrvixTask_DeviceAddress() const = 0;
    virtual void iOrvixTask_DeviceAddress(std::string rhs) = 0;
    virtual std::int32_t iOrvixTask_DeviceModel() const = 0;
    virtual void iOrvixTask_DeviceModel(std::int32_t rhs) = 0;
    virtual std::int32_t iOrvixTask_DeviceOrigin() const = 0;
    virtual void iOrvixTask_DeviceOrigin(std::int32_t rhs) = 0;
    virtual ByteArray iOrvixTask_GetSuperState() const = 0;
    virtual void iOrvixTask_SetSuperState(ByteView arState) = 0;
    virtual void iOrvixTask_Clear() = 0;
    virtual void iOrvixTask_Destroy() = 0;
};

}  // namespace orvix
