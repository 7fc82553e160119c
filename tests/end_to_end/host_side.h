#pragma once

#include <memory>
#include <string>
#include <utility>

#include "adapter/cOrvixAdapterNB1.h"
#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/test_host.h"

namespace orvix::tests {

inline constexpr std::int32_t kSensorModel = 106;

/// How long a reading may take.
struct ReadLimits {
    std::int32_t TimeFactor = 10;          ///< of an exchange
    std::int32_t TimeoutInterval = 60000;  ///< of the task
};

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

    /// Asks for a sensor's temperature; the answer comes into the entry.
    std::unique_ptr<SharedEntry> Read(const std::string& address, const ReadLimits& limits = {}) {
        if (!Adapter.Devices()->Exists(address)) Adapter.DeviceAdd(address, kSensorModel);
        cOrvixTaskNB1 object(m_Services);
        iOrvixTaskNB1& task = object;
        task.DeviceAddress(address);
        task.DeviceModel(kSensorModel);
        task.NetTimeoutInterval(limits.TimeFactor);
        task.TimeoutInterval(limits.TimeoutInterval);
        task.GetVar(ORVIXCNB1_VAR_TEMPERATURE);
        auto entry = m_Services.Messaging.CreateSharedEntry();
        entry->Create("");
        entry->Data().ArgumentList.push_back(task.GetSuperState());
        Adapter.NewWork(entry->Name(), 0);
        return entry;
    }

    VariableRef Temperature(const std::string& address) { return Adapter.Devices()->Item(address)->DefaultVar(); }

    /// Asks the adapter to close until it and its driver have.
    void StartClosing() {
        m_CloseTimer = m_Services.Apartment.CreateTimer([this] {
            if (!Subscriber.Endpoint().PeerIsClosing()) Subscriber.Endpoint().ClosePeer();
        });
        m_CloseTimer->Rearm(20, true);
    }

    RecordingEndpoint Subscriber;
    cOrvixAdapterNB1 Object;
    iOrvixAdapter& Adapter = Object;

private:
    const Services& m_Services;
    std::unique_ptr<Timer> m_CloseTimer;
};

}  // namespace orvix::tests
