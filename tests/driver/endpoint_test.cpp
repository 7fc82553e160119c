#include "tests/driver/driver_fixture.h"

namespace orvix::tests {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kSep[] = {kFieldSeparator, 0};

TEST_F(DriverTest, MakesTheLineSettingsOnceAndInOrder) {
    EXPECT_THAT(Host.Line.Log,
                ElementsAre("DTREnable=True", "EOFEnable=False", "Handshaking=0", "InBufferSize=1024", "InputLen=0",
                            "InputMode=0", "NullDiscard=False", "OutBufferSize=512", "ParityReplace=?", "RThreshold=0",
                            "RTSEnable=False", "Settings=9600,n,8,1", "SThreshold=0"));
    EXPECT_THAT(Host.Database.Opened, ElementsAre("/data/Orvix.mdb|/data/Orvix.mdw|NineChars|Secret123"));
}

TEST_F(DriverTest, GivesThePortNumberToTheControlOnlyAfterAChange) {
    Host.Line.Log.clear();
    Send(std::string("CONNECT") + kSep + "more");
    Send("CONNECT");
    Driver->PortType(2);
    Driver->PortAddress("4");
    Send("CONNECT");
    Send("DISCONNECT");
    Send("DISCONNECT");
    EXPECT_THAT(Host.Line.Log, ElementsAre("CommPort=3", "PortOpen=True", "PortOpen=False", "PortOpen=True",
                                           "PortOpen=False", "CommPort=4", "PortOpen=True", "PortOpen=False"));
    EXPECT_THAT(Adapter.Take(), ElementsAre("CONNECTED", "CONNECTED", "CONNECTED", "DISCONNECTED", "DISCONNECTED"));
    EXPECT_THAT([&] { Driver->PortType(1); },
                testing::Throws<Error>(testing::Field(&Error::Description, "Invalid PortType")));
}

TEST_F(DriverTest, APortThatDoesNotOpenIsReportedAndMayComeLater) {
    Host.Line.PortMissing = true;
    Send("CONNECT");
    EXPECT_THAT(Host.Reports.All, ElementsAre(HasSubstr(".cOrvixDriverNB1.iOrvixDriver_Connect Port 3)")));
    Host.Line.PortMissing = false;
    Send("CONNECT");
    Driver->PortAddress("COM");
    Send("CONNECT");
    EXPECT_THAT(Adapter.Take(), ElementsAre("DISCONNECTED", "CONNECTED", "DISCONNECTED"));
}

TEST_F(DriverTest, ShowsDebugLinesAndIgnoresWhatItDoesNotKnow) {
    Send(JoinFields({"DEBUGINFO", " IDLE!", "True", "CONNECTED_IDLE"}));
    Send(JoinFields({"NONSENSE", "x"}));
    Send("");
    auto& controls = Host.Reports.Window->Controls;
    EXPECT_EQ(controls.at("lblinfo").Text, " IDLE!");
    EXPECT_TRUE(controls.at("chkOnline").Checked);
    EXPECT_EQ(controls.at("lblStatus").Text, "CONNECTED_IDLE");
    EXPECT_THAT(Host.Reports.All, IsEmpty());
    Send(JoinFields({"DEBUGINFO", "short"}));
    EXPECT_EQ(Host.Reports.All.size(), 1U);
    EXPECT_THAT(Adapter.Take(), IsEmpty());
}

TEST_F(DriverTest, RefusesWorkAndDestroyUntilTheFirstItemIsAnsweredWhateverThePortDoes) {
    Host.Line.Expect(kTemperatureRequest, {{Bytes(kTemperatureReply)}});
    const auto first = Entry({});
    const auto second = Entry({});
    Adapter.Endpoint().SendNewWork(first->Name());
    Adapter.Endpoint().SendCustomMessage("CONNECT");
    Adapter.Endpoint().SendNewWork(second->Name());
    Adapter.Endpoint().ClosePeer();
    // All four arrive before the callback that executes the first item.
    Host.Run(1000);
    EXPECT_THAT(Adapter.Take(),
                ElementsAre("CONNECTED", StartsWith("TASKCOMPLETE | -2147215986 | "), "TASKCOMPLETE | 0 | "));
    EXPECT_FALSE(Adapter.ServerDestroyed);
    EXPECT_EQ(first->Data().ResultList.size(), 1U);
    EXPECT_THAT(second->Data().ResultList, IsEmpty());
    EXPECT_FALSE(second->Data().Processed);
    Adapter.Endpoint().ClosePeer();
    Host.Run(0);
    EXPECT_TRUE(Adapter.ServerDestroyed);
}

TEST_F(DriverTest, ClosesEverythingWhenDestroyedAndStaysSafeToCall) {
    Send("CONNECT");
    Adapter.Take();
    Host.Line.Log.clear();
    Adapter.Endpoint().ClosePeer();
    Host.Run(0);
    EXPECT_THAT(Adapter.Take(), ElementsAre("DISCONNECTED"));
    EXPECT_THAT(Host.Line.Log, ElementsAre("PortOpen=False"));
    EXPECT_EQ(Host.Reports.Window, nullptr);
    Driver->PortAddress("9");
    Driver->DebugMode(true);
    Driver->Init();
    Driver->LogMode(0);
    Driver->FireTimer("ExecuteTask", 0);
    EXPECT_EQ(Driver->IPC(), nullptr);
    Driver.reset();
}

TEST_F(DriverTest, AWorkItemThatCannotBeLoadedIsAnsweredAndLeavesTheDriverUsable) {
    const auto broken = Entry({});
    broken->Data().ArgumentList = {{1, 2, 3}};
    const auto empty = Entry({});
    empty->Data().ArgumentList.clear();
    for (const std::string& key : {std::string("nowhere"), broken->Name(), empty->Name()}) {
        Adapter.Endpoint().SendNewWork(key);
        Host.Run(0);
        EXPECT_THAT(Adapter.Take(),
                    ElementsAre(AllOf(StartsWith("TASKCOMPLETE | "),
                                      HasSubstr(" (OrvixNimbo1Lib.cOrvixDriverNB1.IPlexaLinkTimer_FireTimer)"))));
    }
    EXPECT_FALSE(broken->Data().Processed);
    broken->Lock();
    broken->Unlock();
    Driver->SubscriberIPCName("nobody");
    EXPECT_EQ(Execute({.CmdType = 0})->e(), errors::Validation);
    Driver->SubscriberIPCName("adapter");
    Execute({.CmdType = ORVIXCNB1_TA_GET_DEVICELIST});
    EXPECT_THAT(Messages, ElementsAre("TASKCOMPLETE | 0 | "));
}

/// Link timers that schedule no execution.
struct FailingLinkTimers : platform::ProcessMessaging {
    using ProcessMessaging::ProcessMessaging;
    struct Failing : LinkTimer {
        void Schedule(IPlexaLinkTimer& target, const std::string& strTimerLink, std::int32_t delayMs) override {
            if (strTimerLink == "ExecuteTask") throw Error(errors::General, "no timer");
            Inner->Schedule(target, strTimerLink, delayMs);
        }
        std::unique_ptr<LinkTimer> Inner;
    };
    std::unique_ptr<LinkTimer> CreateLinkTimer() override {
        auto timer = std::make_unique<Failing>();
        timer->Inner = ProcessMessaging::CreateLinkTimer();
        return timer;
    }
};

TEST_F(DriverTest, WorkThatCannotBeScheduledIsCancelledAndAnswered) {
    FailingLinkTimers messaging(World.Directory, Host.Apartment);
    Services services{Host.Apartment, messaging,    Host.Line,   Host.Stores,
                      Host.Database,  Host.Reports, Host.Viewer, Host.State};
    cOrvixDriverNB1 driver(services);
    driver.SubscriberIPCName("adapter");
    Adapter.Endpoint().PeerName(driver.ServerIPCName());
    const auto entry = Entry({});
    Adapter.Endpoint().SendNewWork(entry->Name());
    Host.Run(0);
    EXPECT_THAT(Adapter.Take(), ElementsAre("TASKCOMPLETE | 0 | "));
    EXPECT_TRUE(entry->Data().Cancelled);
    EXPECT_TRUE(entry->Data().Processed);
    EXPECT_EQ(entry->Data().ArgumentList.size(), 1U);
}

}  // namespace
}  // namespace orvix::tests
