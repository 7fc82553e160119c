#pragma once

#include <memory>
#include <string>

#include "adapter/cOrvixAdapterNB1.h"
#include "driver/cOrvixDriverNB1.h"
#include "platform/driver_proxy.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/test_host.h"

namespace orvix::tests {

inline const std::string kTemperatureCommand("\x0B\x00", 2);
inline constexpr std::int32_t kSensorModel = 106;

/// A driver that lives with `home`, as `caller` uses it.
inline std::shared_ptr<iOrvixDriver> DriverIn(TestHost& home, TestHost& caller) {
    auto driver = std::make_shared<cOrvixDriverNB1>(home.Services);
    if (&home == &caller) return driver;
    return std::make_shared<platform::DriverProxy>(caller.Apartment, home.Apartment, std::move(driver));
}

/// A host and its adapter on port 3, with the driver that it is given.
class HostSide {
public:
    HostSide(const Services& services, const std::string& name, std::shared_ptr<iOrvixDriver> driver)
        : Subscriber(services.Messaging, name, ""), Object(services), m_Services(services) {
        Adapter.SubscriberIPCName(name);
        Adapter.Driver(std::move(driver));
        Adapter.PortType(2);
        Adapter.PortAddress("3");
        Adapter.NetRetry(0);
        Adapter.Init();
        Subscriber.Endpoint().PeerName(Adapter.ServerIPCName());
    }

    /// Asks for a sensor's temperature; the answer comes into the entry. An exchange and the task may take so long.
    std::unique_ptr<SharedEntry> Read(const std::string& address, int timeFactor = 10, int timeout = 60000) {
        if (!Adapter.Devices()->Exists(address)) Adapter.DeviceAdd(address, kSensorModel);
        return Ask(address, kSensorModel, ORVIXCNB1_VAR_TEMPERATURE, timeFactor, timeout);
    }

    std::unique_ptr<SharedEntry> Ask(const std::string& address, std::int32_t model, ORVIXCNB1_VARS variable,
                                     int timeFactor, int timeout, std::int32_t priority = 0) {
        return Submit(*Task(address, model, variable, timeFactor, timeout), priority);
    }

    std::shared_ptr<iOrvixTaskNB1> Task(const std::string& address, std::int32_t model = kSensorModel,
                                        ORVIXCNB1_VARS variable = ORVIXCNB1_VAR_TEMPERATURE, int timeFactor = 10,
                                        int timeout = 60000) {
        std::shared_ptr<iOrvixTaskNB1> task = std::make_shared<cOrvixTaskNB1>(m_Services);
        task->DeviceAddress(address);
        task->DeviceModel(model);
        task->NetTimeoutInterval(timeFactor);
        task->TimeoutInterval(timeout);
        task->GetVar(variable);
        return task;
    }

    std::unique_ptr<SharedEntry> Submit(const iOrvixTaskNB1& task, std::int32_t priority = 0) {
        auto entry = EntryWith(m_Services.Messaging, task.GetSuperState());
        Adapter.NewWork(entry->Name(), priority);
        return entry;
    }

    VariableRef Temperature(const std::string& address) { return Adapter.Devices()->Item(address)->DefaultVar(); }

    RecordingEndpoint Subscriber;
    cOrvixAdapterNB1 Object;
    iOrvixAdapter& Adapter = Object;

private:
    const Services& m_Services;
};

enum class Placement { HostsApartment, ApartmentOfItsOwn };
constexpr Placement kEveryPlacement[] = {Placement::HostsApartment, Placement::ApartmentOfItsOwn};

inline std::string NameOf(Placement placement) {
    return placement == Placement::HostsApartment ? "InTheHostsApartment" : "InAnApartmentOfItsOwn";
}

}  // namespace orvix::tests
