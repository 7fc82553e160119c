#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/iOrvixDevice.h"
#include "host/variables.h"

namespace orvix {

class iOrvixAdapter;
class Object;

/// A set of devices, by bus address.
class iOrvixDevices {
public:
    virtual ~iOrvixDevices() = default;

    std::int32_t ThreadID() const { return iOrvixDevices_ThreadID(); }
    /// Owning adapter, handed to each new device; not owned.
    iOrvixAdapter* Adapter() const { return iOrvixDevices_Adapter(); }
    void Adapter(iOrvixAdapter* rhs) { iOrvixDevices_Adapter(rhs); }
    /// Variable records of all devices, by tag.
    VariableCollection& VarsEx() { return iOrvixDevices_VarsEx(); }
    /// The devices in order of addition, as they are now: some may be removed or added while these are gone through.
    std::vector<std::shared_ptr<iOrvixDevice>> NewEnum() const { return iOrvixDevices_NewEnum(); }
    /// No interface has a name here: always null.
    Object* Intrf(const std::string& Name) { return iOrvixDevices_Intrf(Name); }
    bool Exists(const std::string& Address) const { return iOrvixDevices_Exists(Address); }
    /// Raises MissingItem when there is no device at the address.
    std::shared_ptr<iOrvixDevice> Item(const std::string& Address) const { return iOrvixDevices_Item(Address); }
    std::int32_t Count() const { return iOrvixDevices_Count(); }
    /// Creates a device of model 106 or 104. A failure is reported and null returned.
    std::shared_ptr<iOrvixDevice> Add(const std::string& Address, std::int32_t DeviceModel) {
        return iOrvixDevices_Add(Address, DeviceModel);
    }
    /// Restores a saved temperature sensor as an offline device; one that is there already is returned unchanged. A
    /// failure is reported and null returned.
    std::shared_ptr<iOrvixDevice> AddFromFile(const std::string& PathFile) {
        return iOrvixDevices_AddFromFile(PathFile);
    }
    /// Destroys and drops a device. An address that is not there is reported.
    void Remove(const std::string& Address) { iOrvixDevices_Remove(Address); }
    void Destroy() { iOrvixDevices_Destroy(); }

private:
    virtual std::int32_t iOrvixDevices_ThreadID() const = 0;
    virtual iOrvixAdapter* iOrvixDevices_Adapter() const = 0;
    virtual void iOrvixDevices_Adapter(iOrvixAdapter* rhs) = 0;
    virtual VariableCollection& iOrvixDevices_VarsEx() = 0;
    virtual std::vector<std::shared_ptr<iOrvixDevice>> iOrvixDevices_NewEnum() const = 0;
    virtual Object* iOrvixDevices_Intrf(const std::string& Name) = 0;
    virtual bool iOrvixDevices_Exists(const std::string& Address) const = 0;
    virtual std::shared_ptr<iOrvixDevice> iOrvixDevices_Item(const std::string& Address) const = 0;
    virtual std::int32_t iOrvixDevices_Count() const = 0;
    virtual std::shared_ptr<iOrvixDevice> iOrvixDevices_Add(const std::string& Address, std::int32_t DeviceModel) = 0;
    virtual std::shared_ptr<iOrvixDevice> iOrvixDevices_AddFromFile(const std::string& PathFile) = 0;
    virtual void iOrvixDevices_Remove(const std::string& Address) = 0;
    virtual void iOrvixDevices_Destroy() = 0;
};

}  // namespace orvix
