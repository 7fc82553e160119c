#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "devices/cOrvixDevicesNB1.h"
#include "tests/support/fake_adapter.h"
#include "tests/support/test_host.h"

namespace orvix::tests {
namespace {

using testing::HasSubstr;

struct DevicesTest : testing::Test {
    DevicesTest() { Devices.Adapter(&Adapter); }

    World Shared;
    TestHost Host{Shared};
    FakeAdapter Adapter;
    cOrvixDevicesNB1 Devices{Host.Services};
    int Changes = 0;
    EventConnection Connection = Devices.ItemsChanged([this] { ++Changes; });
};

TEST_F(DevicesTest, AddFindAndRemove) {
    const auto sensor = Devices.Add("12", 106);
    const auto module = Devices.Add("13", 104);
    ASSERT_TRUE(sensor && module);
    EXPECT_EQ(sensor->Adapter(), &Adapter);
    EXPECT_THROW(Devices.Item("1"), Error);
    EXPECT_EQ(Devices.VarsEx().Item("NB1/2x3/104/13/6"), module->VarsEx().Item("6"));

    EXPECT_EQ(Devices.Add("14", 105), nullptr);
    EXPECT_THAT(Host.Reports.All.back(), HasSubstr("Unsupported device model105"));
    EXPECT_EQ(Devices.Add("12", 106), nullptr) << "the address is taken";
    EXPECT_EQ(Devices.Item("12"), sensor);

    module->Address("99");
    Devices.Remove("13");
    EXPECT_EQ(Devices.Count(), 1);
    EXPECT_EQ(module->Adapter(), nullptr) << "destroyed";
    EXPECT_EQ(Devices.VarsEx().Count(), 2U) << "its records are gone, also under the tags of its old address";
    EXPECT_EQ(Changes, 2);
    Devices.Remove("13");
    EXPECT_THAT(Host.Reports.All.back(), HasSubstr("Unsupported device model0"));
    Devices.Destroy();
    EXPECT_EQ(Devices.Count() + static_cast<int>(Devices.VarsEx().Count()), 0);
    EXPECT_FALSE(Devices.Exists("12") || Devices.Adapter() || sensor->Adapter());
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

TEST_F(DevicesTest, EveryListenerHearsOfChangesAsLongAsItListens) {
    auto stopped = Devices.ItemsChanged([] { FAIL(); });
    stopped.reset();
    EventConnection late;
    const auto broken = Devices.ItemsChanged([] { throw std::runtime_error("broken listener"); });
    const auto busy = Devices.ItemsChanged([&] {
        if (!late) late = Devices.ItemsChanged([this] { Changes += 10; });
    });
    EXPECT_TRUE(Devices.Add("12", 106));
    EXPECT_EQ(Changes, 1);
    EXPECT_THAT(Host.Reports.All.back(), HasSubstr("broken listener"));
    Devices.Add("13", 106);
    EXPECT_EQ(Changes, 12);
}

TEST_F(DevicesTest, DevicesMayGoWhileTheyAreGoneThrough) {
    for (const char* address : {"1", "2", "3"})
        Devices.Add(address, 106);
    std::string seen;
    for (const auto& device : Devices.NewEnum()) {
        seen += device->Address();
        Devices.Remove("2");
        Devices.Remove(device->Address());
    }
    EXPECT_EQ(seen, "123");
    EXPECT_EQ(Devices.Count(), 0);

    Devices.Add("4", 106);
    Devices.Add("5", 104);
    seen.clear();
    for (const auto& [tag, record] : Devices.VarsEx()) {
        seen += std::to_string(record->VarID());
        for (const char* address : {"4", "5"})
            if (Devices.Exists(address)) Devices.Remove(address);
    }
    EXPECT_EQ(seen, "1216");
    EXPECT_EQ(Devices.VarsEx().Count(), 0U);
    const auto device = Devices.Add("6", 106);
    seen.clear();
    for (const auto& [key, record] : device->VarsEx()) {
        device->Address("7");  // makes new records
        seen += key;
    }
    EXPECT_EQ(seen, "12");
}

}  // namespace
}  // namespace orvix::tests
