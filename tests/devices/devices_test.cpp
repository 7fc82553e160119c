#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "devices/cOrvixDevicesNB1.h"
#include "host/property_bag.h"
#include "host/text.h"
#include "tests/support/fake_adapter.h"
#include "tests/support/test_host.h"

namespace orvix::tests {
namespace {

using testing::AllOf;
using testing::HasSubstr;

struct DevicesTest : testing::Test {
    DevicesTest() {
        Devices.Adapter(&Adapter);
        Devices.ItemsChanged = [this] { ++Changes; };
    }

    World Shared;
    TestHost Host{Shared};
    FakeAdapter Adapter;
    cOrvixDevicesNB1 Devices{Host.Services};
    int Changes = 0;
};

TEST_F(DevicesTest, AddFindAndRemove) {
    const auto sensor = Devices.Add("12", 106);
    const auto module = Devices.Add("13", 104);
    ASSERT_TRUE(sensor && module);
    EXPECT_EQ(Changes, 2);
    EXPECT_EQ(sensor->Adapter(), &Adapter);
    EXPECT_EQ(Devices.Item("13"), module);
    EXPECT_FALSE(Devices.Exists("1"));
    EXPECT_THROW(Devices.Item("1"), Error);
    EXPECT_EQ(Devices.VarsEx().Item("NB1/2x3/104/13/6"), module->VarsEx().Item("6"));

    EXPECT_EQ(Devices.Add("14", 105), nullptr);
    EXPECT_THAT(Host.Reports.All.back(),
                AllOf(HasSubstr("Unsupported device model105"), HasSubstr("cOrvixDevices.Add(Address$,DeviceModel)")));
    EXPECT_EQ(Devices.Add("12", 106), nullptr) << "the address is taken";
    EXPECT_EQ(Devices.Item("12"), sensor);

    module->Address("99");
    Devices.Remove("13");
    EXPECT_EQ(Devices.Count(), 1);
    EXPECT_EQ(module->Adapter(), nullptr) << "destroyed";
    EXPECT_EQ(Devices.VarsEx().Count(), 2U) << "its records are gone, also under the tags of its old address";
    EXPECT_EQ(Changes, 2);
    Devices.Remove("13");
    EXPECT_THAT(Host.Reports.All.back(),
                AllOf(HasSubstr("Unsupported device model0"), HasSubstr("cOrvixDevices.RemoveEX(Address$)")));

    Devices.Destroy();
    EXPECT_EQ(Devices.Count(), 0);
    EXPECT_EQ(sensor->Adapter(), nullptr);
}

TEST_F(DevicesTest, EqualTagsAreReplaced) {
    const std::string tag = "NB1/2x3/104/12/2";
    Devices.VarsEx().Add(tag);
    const auto sensor = Devices.Add("12", 106);
    EXPECT_EQ(Devices.VarsEx().Item(tag), sensor->VarsEx().Item("2"));
    Devices.VarsEx().Remove(tag);
    const VariableRef successor = Devices.VarsEx().Add(tag);
    Devices.Remove("12");
    ASSERT_EQ(Devices.VarsEx().Count(), 1U);
    EXPECT_EQ(Devices.VarsEx().Item(tag), successor) << "only the device's own records go with it";
}

TEST_F(DevicesTest, RestoresSensorsFromFiles) {
    const auto live = Devices.Add("12", 106);
    live->SerialNumber("S1");
    PropertyBag bag, fields;
    bag.Contents(live->GetSuperState());
    fields.Contents(bag.ReadProperty("State").ToBytes());
    fields.WriteProperty("DeviceOrigin", 2);
    bag.WriteProperty("State", fields.Contents());
    Host.Stores.FileContents["/data/Oven.nb1"] = BytesToText(bag.Contents());

    const auto restored = Devices.AddFromFile("/data/Oven.nb1");
    ASSERT_TRUE(restored) << Host.Reports.All.back();
    EXPECT_EQ(restored->Address(), "12-2");
    EXPECT_EQ(restored->Name(), "Oven");
    EXPECT_EQ(restored->SerialNumber(), "S1");
    EXPECT_EQ(restored->DeviceOrigin(), 2);
    EXPECT_EQ(Devices.VarsEx().Count(), 2U) << "the aggregate is that of live devices";
    restored->Name("mine");
    EXPECT_EQ(Devices.AddFromFile("/data/Oven.nb1"), restored);
    EXPECT_EQ(restored->Name(), "mine") << "not loaded again";
    EXPECT_EQ(Changes, 3);
    EXPECT_EQ(Devices.Item("12"), live);

    bag.WriteProperty("DeviceModel", 104);
    Host.Stores.FileContents["/data/module"] = BytesToText(bag.Contents());
    Host.Stores.FileContents["/data/junk"] = "junk";
    for (const char* file : {"/data/module", "/data/junk", "/data/missing"}) {
        EXPECT_EQ(Devices.AddFromFile(file), nullptr);
        EXPECT_THAT(Host.Reports.All.back(), HasSubstr("cOrvixDevicesNB1.iOrvixDevices_AddFromFile(PathFile)"));
    }
    EXPECT_EQ(Devices.Count(), 2);
}

}  // namespace
}  // namespace orvix::tests
