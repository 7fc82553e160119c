#include <dlfcn.h>
#include <gtest/gtest.h>

#include "devices/iOrvixNB1Devices.h"
#include "driver/iOrvixNB1Driver.h"
#include "host/iOrvixAdapter.h"
#include "host/iOrvixDevices.h"
#include "host/iOrvixDriver.h"
#include "host/library_entry.h"
#include "host/text.h"
#include "tasks/iOrvixNB1Task.h"
#include "tasks/iOrvixTaskNB1.h"
#include "tests/support/test_host.h"

namespace orvix::tests {
namespace {

/// A host that has the library's file and the headers of its interfaces, and is linked with nothing of it.
struct LoadedLibraryTest : testing::Test {
    template <class Interface>
    Interface& As(const std::shared_ptr<Object>& object) {
        auto* found = dynamic_cast<Interface*>(object.get());
        if (found == nullptr) throw Error(errors::General, "the object does not have the interface");
        return *found;
    }

    std::shared_ptr<Object> Create(const char* className) {
        return std::shared_ptr<Object>(CreateObject(className, &Host.Services));
    }

    World Shared;
    TestHost Host{Shared};
    void* Handle = dlopen(NIMBO1_LIBRARY, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    CreateObjectFunction* CreateObject =
        reinterpret_cast<CreateObjectFunction*>(Handle != nullptr ? dlsym(Handle, kCreateObjectSymbol) : nullptr);

    void SetUp() override { ASSERT_TRUE(CreateObject) << dlerror(); }
};

TEST_F(LoadedLibraryTest, AHostListensToADeviceCollectionBesideTheAdapter) {
    const auto adapter = Create("cOrvixAdapterNB1");
    RecordingEndpoint subscriber(Host.Messaging, "HOST", As<iOrvixAdapter>(adapter).ServerIPCName());
    As<iOrvixAdapter>(adapter).SubscriberIPCName("HOST");
    As<iOrvixAdapter>(adapter).Init();
    Host.Run(0);
    subscriber.Take();

    auto* const devices = dynamic_cast<iOrvixNB1Devices*>(As<iOrvixAdapter>(adapter).Devices());
    ASSERT_TRUE(devices);
    int changes = 0;
    const auto connection = devices->ItemsChanged([&changes] { ++changes; });
    EXPECT_TRUE(As<iOrvixAdapter>(adapter).DeviceAdd("12", 106));
    Host.Run(0);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(subscriber.Take(), std::vector<std::string>{"NetChanged"});
}

TEST_F(LoadedLibraryTest, ATaskTellsThatItIsExecuted) {
    const auto task = Create("cOrvixTaskNB1");
    EXPECT_FALSE(As<iOrvixNB1Task>(task).iOrvixTaskNB1_Executed());
    As<iOrvixTaskNB1>(task).Executed(true);
    EXPECT_TRUE(As<iOrvixNB1Task>(task).iOrvixTaskNB1_Executed());
}

TEST_F(LoadedLibraryTest, ADriverIsSetToSimulate) {
    const auto driver = Create("cOrvixDriverNB1");
    RecordingEndpoint adapter(Host.Messaging, "ADAPTER", As<iOrvixDriver>(driver).ServerIPCName());
    As<iOrvixDriver>(driver).SubscriberIPCName("ADAPTER");
    As<iOrvixNB1Driver>(driver).iOrvixDriver_Simulation(true);
    adapter.Endpoint().SendCustomMessage("CONNECT");
    Host.Run(0);
    EXPECT_EQ(adapter.Take(), std::vector<std::string>{"CONNECTED"}) << "without a port";
}

}  // namespace
}  // namespace orvix::tests
