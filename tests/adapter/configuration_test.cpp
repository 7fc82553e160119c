#include "tests/adapter/adapter_fixture.h"
#include "tests/support/meddled_messaging.h"

namespace orvix::tests {

class ConfigurationTest : public AdapterTest {};

TEST_F(ConfigurationTest, TheDriverIsToldWhatIsWritten) {
    const std::vector<std::string> before = std::exchange(Driver->Writes, {});
    EXPECT_THAT(before, ElementsAre("PortType=2", "PortAddress=3", "DebugMode=True"));
    Adapter.Path("/data");
    Adapter.PortType(7);
    EXPECT_EQ(Adapter.Address(), "7x3");
    Adapter.PortAddress("9");
    Adapter.PortSettings("19200");
    Adapter.NetRetry(-1);
    Adapter.LogMode(1);
    Adapter.LogPath("/trace");
    Adapter.Simulation(true);
    const std::vector<std::string> written{"Path=/data/", "PortType=7", "PortAddress=9",  "PortSettings=19200",
                                           "NetRetry=0",  "LogMode=1",  "LogPath=/trace", "Simulation=True"};
    EXPECT_EQ(std::exchange(Driver->Writes, {}), written);
    EXPECT_EQ(Adapter.Path() + Adapter.Address() + Adapter.PortAddress() + Adapter.PortSettings() + Adapter.LogPath(),
              "/data/7x9919200/trace");
    EXPECT_TRUE(Adapter.PortType() == 7 && Adapter.NetRetry() == -1 && Adapter.LogMode() == 1 && Adapter.Simulation());
    // Init tells it all of it again, except what the line does not take.
    Adapter.NetRetry(100000);
    Adapter.OnLine(true);  // takes effect in Init
    Driver->Writes.clear();
    Init();
    EXPECT_THAT(Driver->Writes, ElementsAre("Path=/data/", "DebugMode=True", "LogMode=1", "LogPath=/trace",
                                            "Simulation=True", "PortType=7", "PortAddress=9", "NetRetry=32767"));
    EXPECT_THAT(Host.Database.Opened, ElementsAre("/data/Orvix.mdb|/data/Orvix.mdw|NineChars|Secret123",
                                                  "devices in /data/", "plant in /data/"));
    EXPECT_EQ(Apartment.Running(), "10");
    Host.Run(10);
    EXPECT_THAT(Driver->Peer.Take(), Contains("CONNECT"));
}

TEST_F(ConfigurationTest, InitStartsNothing) {
    Adapter.MonitorVars(true);
    Adapter.MonitorNet(true);
    Init();
    EXPECT_EQ(Apartment.Running(), "");
    // The current task's has none yet.
    EXPECT_EQ(Apartment.All(), "0 10 3000 7000 7000");
    Host.Run(10000);
    EXPECT_THAT(Driver->Peer.Take(), IsEmpty());
    EXPECT_THAT(Subscriber.Take(), IsEmpty());
    EXPECT_EQ(Adapter.ServerIPCName().find("AdapterNB1_"), 0U);
    EXPECT_EQ(Adapter.SubscriberIPCName(), "HOST");
    EXPECT_EQ(Adapter.Driver(), Driver);
}

// Each switch has a timer, which runs while the adapter is online.
TEST_F(ConfigurationTest, PollingTimersRunOnlineOnly) {
    Init();
    for (const bool online : {false, true}) {
        Adapter.OnLine(online);
        for (const bool net : {false, true}) {
            for (const bool vars : {false, true}) {
                Adapter.MonitorVars(vars);
                Adapter.MonitorNet(net);
                for (const char* period : {"400", "500"}) {
                    const std::string expected = std::string("10") + (online && net ? " " : "");
                    Adapter.PollingMSecs(std::stoi(period));
                    EXPECT_EQ(Apartment.Running(),
                              expected + (online && net ? period : "") + (online && vars ? " 7000" : ""));
                }
            }
        }
    }
}

TEST_F(ConfigurationTest, IntervalsHaveAFloorAndADefault) {
    EXPECT_EQ(Adapter.IdleMsecs() + Adapter.IdleAfterErrorMsecs() + Adapter.PollingMSecs(), 6000 + 4000 + 7000);
    EXPECT_EQ(Adapter.NetTimeoutShortInterval() + Adapter.NetTimeoutLongInterval() + Adapter.NetRetry(), 6003);
    EXPECT_FALSE(Adapter.MonitorNet() || Adapter.MonitorVars() || Adapter.IdleAllowed() || Adapter.OnLine());
    for (const std::int32_t interval : {-1, 99, 100, 101}) {
        Adapter.IdleMsecs(interval);
        Adapter.IdleAfterErrorMsecs(interval);
        Adapter.PollingMSecs(interval);
        for (const std::int32_t stored : {Adapter.IdleMsecs(), Adapter.IdleAfterErrorMsecs(), Adapter.PollingMSecs()})
            EXPECT_EQ(stored, std::max(interval, 100));
    }
    EXPECT_EQ(Adapter.AdapterType(), 2);
}

TEST_F(ConfigurationTest, InitMountsRegisteredDevices) {
    Host.Database.Registered = {{"7", 104, "SN7"}, {"8", 105, "bad model"}, {"9", 106, ""}};
    Host.Database.PlantNames = {{"SN7", "Door"}};
    Adapter.Init();
    Host.Run(0);
    EXPECT_EQ(Subscriber.Take(), (std::vector<std::string>{"ORVIX_CNN_ACTIVITY | 1", "NetChanged"}));
    const auto door = Adapter.Devices()->Item("7");
    EXPECT_EQ(door->SerialNumber() + door->Name(), "SN7Door");
    EXPECT_TRUE(door->DeviceModel() == 104 && door->ConnectedEx());
    const auto unnamed = Adapter.Devices()->Item("9");
    EXPECT_EQ(unnamed->SerialNumber() + unnamed->Name(), "NB1/2x3/104/9/1Nimbo1 Temperature Sensor");
    EXPECT_EQ(Adapter.Devices()->Count(), 2);
}

TEST_F(ConfigurationTest, PortStaysWhileTheLinkIsInUse) {
    Connect();
    EXPECT_THROW(Adapter.PortType(3), Error);
    EXPECT_THROW(Adapter.PortSettings("x"), Error);
    EXPECT_THROW(Adapter.PortAddress("4"), Error);
    EXPECT_EQ(Adapter.Address(), "2x3");
}

TEST_F(ConfigurationTest, DevicesAreAddedAndRemoved) {
    Init();
    EXPECT_EQ(Adapter.DeviceAdd("5", 105), nullptr);
    ASSERT_NE(Adapter.DeviceAdd("5", 106), nullptr);
    EXPECT_FALSE(Adapter.DeviceExists("5"));
    Adapter.UnregisteredDevices()->Add("6", 104);
    for (const char* address : {"5", "6", "7"})
        Adapter.DeviceRemove(address);
    Host.Run(0);
    EXPECT_THAT(Subscriber.Take(), ElementsAre("NetChanged", "NetChanged", "UnregisteredNetChanged"));
    EXPECT_EQ(Adapter.Devices()->Count() + Adapter.UnregisteredDevices()->Count(), 0);
}

TEST_F(ConfigurationTest, WhatCannotBeCreatedOrInitialisedSaysWhere) {
    struct : MeddledMessaging {
        using MeddledMessaging::MeddledMessaging;
        std::unique_ptr<Channel> CreateChannel() override { throw Error(errors::General, "no channel"); }
    } messaging(Host.Messaging, Host.Apartment);
    const Services services{Host.Apartment, messaging,    Host.Line,   Host.Stores,
                            Host.Database,  Host.Reports, Host.Viewer, Host.State};
    EXPECT_THAT(
        ErrorOf([&] { cOrvixAdapterNB1{services}; }).Description,
        testing::AllOf(testing::StartsWith("no channel"), testing::HasSubstr("(cOrvixAdapterNB1.Class_Initialize)")));
    Host.Database.OpenFails = true;
    EXPECT_THAT(ErrorOf([&] { Adapter.Init(); }).Description,
                testing::AllOf(testing::StartsWith("The database /lib/Orvix.mdb cannot be opened"),
                               testing::HasSubstr("(cOrvixAdapterNB1.iOrvixAdapter_Init)")));
}

/// Before Init and after the destroy request every member is safe to call.
TEST_F(ConfigurationTest, EveryMemberIsSafeWithoutTheWorkingParts) {
    for (const bool afterShutdown : {false, true}) {
        if (afterShutdown) {
            Connect();
            Subscriber.Endpoint().ClosePeer();
            Host.Run(10);
        }
        Adapter.OnLine(true);
        Adapter.MonitorNet(true);
        Adapter.MonitorVars(true);
        EXPECT_FALSE(Adapter.Devices() || Adapter.UnregisteredDevices() || Adapter.DeviceAdd("5", 106));
        Adapter.DeviceRemove("5");
        EXPECT_THROW(Queue(Reading("5")), Error);
        const auto entry = Entry(*Reading("5"));
        Adapter.NewWork(entry->Name(), 0);
        EXPECT_TRUE(entry->WaitForCompletion(0));
        EXPECT_FALSE(entry->Succeeded());
        for (const char* message : {"TASKCOMPLETE", "SOCKETERROR", "connected", ""})
            FromDriver(message);
        Host.Run(100);
        EXPECT_FALSE(Object.Busy());
        EXPECT_EQ(Apartment.Running(), "");
        Adapter.OnLine(false);
    }
    Subscriber.Endpoint().ClosePeer();
    Host.Run(10);
    EXPECT_TRUE(Subscriber.ServerDestroyed);
}

}  // namespace orvix::tests
