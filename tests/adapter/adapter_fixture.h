#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "adapter/cOrvixAdapterNB1.h"
#include "host/text.h"
#include "tasks/cOrvixTaskNB1.h"
#include "tests/support/error_of.h"
#include "tests/support/fake_driver.h"
#include "tests/support/test_host.h"
#include "tests/support/watched_apartment.h"

namespace orvix::tests {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// An adapter on port 3 between a recorded host and a driver that answers when told. Debug lines are on.
class AdapterTest : public testing::Test {
protected:
    AdapterTest() {
        Adapter.SubscriberIPCName("HOST");
        Adapter.Driver(Driver);
        Adapter.PortType(2);
        Adapter.PortAddress("3");
        Adapter.DebugMode(true);
    }

    void Init() {
        Adapter.Init();
        Subscriber.Endpoint().PeerName(Adapter.ServerIPCName());
        Forget();
    }

    void Forget() {
        Host.Run(0);
        Subscriber.Take();
        Driver->Peer.Take();
    }

    void FromDriver(const std::string& message) {
        Driver->Send(message);
        Host.Run(0);
    }

    /// Online and connected, with sensor 5; the idle time runs.
    void Connect() {
        Init();
        Adapter.DeviceAdd("5", 106);
        Adapter.OnLine(true);
        Host.Run(10);
        FromDriver("CONNECTED");
        Host.Run(20);
        Forget();
    }

    std::shared_ptr<iOrvixTaskNB1> Reading(const std::string& address,
                                           ORVIXCNB1_VARS variable = ORVIXCNB1_VAR_TEMPERATURE) {
        std::shared_ptr<iOrvixTaskNB1> task = std::make_shared<cOrvixTaskNB1>(Host.Services);
        task->DeviceAddress(address);
        task->DeviceModel(106);
        task->GetVar(variable);
        return task;
    }

    std::shared_ptr<iOrvixTaskNB1> Queue(std::shared_ptr<iOrvixTaskNB1> task, std::int32_t priority = 0) {
        ToAdapter.NewTask(task, priority);
        return task;
    }

    /// A shared entry with a task of the host.
    std::unique_ptr<SharedEntry> Entry(const iOrvixTaskNB1& task) {
        return EntryWith(Host.Messaging, task.GetSuperState());
    }

    World Shared;
    TestHost Host{Shared};
    RecordingEndpoint Subscriber{Host.Messaging, "HOST", ""};
    std::shared_ptr<FakeDriver> Driver = std::make_shared<FakeDriver>(Host);
    WatchedApartment Apartment{Host.Apartment};
    Services AdaptersServices{Apartment,     Host.Messaging, Host.Line,   Host.Stores,
                              Host.Database, Host.Reports,   Host.Viewer, Host.State};
    cOrvixAdapterNB1 Object{AdaptersServices};
    iOrvixAdapter& Adapter = Object;
    iOrvixDevToAdapt& ToAdapter = Object;
};

inline const std::string kReply24("\x83\x40\x00\x00", 4);

}  // namespace orvix::tests
