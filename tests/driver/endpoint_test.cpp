#include "tests/driver/driver_fixture.h"

namespace orvix::tests {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(DriverTest, MakesTheLineSettingsOnceAndInOrder) {
    EXPECT_THAT(Host.Line.Log,
                ElementsAre("DTREnable=True", "EOFEnable=False", "Handshaking=0", "InBufferSize=1024", "InputLen=0",
                            "InputMode=0", "NullDiscard=False", "OutBufferSize=512", "ParityReplace=?", "RThreshold=0",
                            "RTSEnable=False", "Settings=9600,n,8,1", "SThreshold=0"));
    EXPECT_THAT(Host.Database.Opened, ElementsAre("/data/Orvix.mdb|/data/Orvix.mdw|NineChars|Secret123"));
}

TEST_F(DriverTest, GivesThePortNumberToTheControlOnlyAfterAChange) {
    Host.Line.Log.clear();
    Send(JoinFields({"CONNECT", "more"}));
    Send("CONNECT");
    Driver->PortType(2);
    Driver->PortAddress("4");
    Send("CONNECT");
    Send("DISCONNECT");
    Send("DISCONNECT");
    EXPECT_THAT(Host.Line.Log, ElementsAre("CommPort=3", "PortOpen=True", "PortOpen=False", "PortOpen=True",
                                           "PortOpen=False", "CommPort=4", "PortOpen=True", "PortOpen=False"));
    EXPECT_THAT(Adapter.Take(), ElementsAre("CONNECTED", "CONNECTED", "CONNECTED", "DISCONNECTED", "DISCONNECTED"));
}

TEST_F(DriverTest, ShowsDebugLinesAndIgnoresWhatItDoesNotKnow) {
    Send(JoinFields({"DEBUGINFO", " IDLE!", "True", "CONNECTED_IDLE"}));
    for (const std::string& message :
         {std::string(), JoinFields({"NONSENSE", "x"}), JoinFields({"DEBUGINFO", "short"})})
        Send(message);
    auto& controls = Host.Reports.Window->Controls;
    EXPECT_TRUE(controls.at("chkOnline").Checked);
    EXPECT_EQ(controls.at("lblinfo").Text + controls.at("lblStatus").Text, " IDLE!CONNECTED_IDLE");
    EXPECT_EQ(Host.Reports.All.size(), 1U) << "only what lacks fields";
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
    EXPECT_FALSE(second->Data().Processed);
    Adapter.Endpoint().ClosePeer();
    Host.Run(0);
    EXPECT_TRUE(Adapter.ServerDestroyed);
}

TEST_F(DriverTest, ClosesEverythingWhenDestroyedAndStaysSafeToCall) {
    Send("CONNECT");
    Driver->Simulation(true);  // which leaves the port alone until the end
    Adapter.Endpoint().ClosePeer();
    Host.Run(0);
    EXPECT_THAT(Adapter.Take(), ElementsAre("CONNECTED", "DISCONNECTED"));
    EXPECT_EQ(Host.Line.Log.back(), "PortOpen=False");
    EXPECT_EQ(Host.Reports.Window, nullptr);
    Driver->PortAddress("9");
    Driver->DebugMode(true);
    Driver->Init();
    Driver->LogMode(0);
    Driver->FireTimer("ExecuteTask", 0);
    EXPECT_EQ(Driver->IPC(), nullptr);
    Driver.reset();
}

TEST_F(DriverTest, ACancelledWorkItemIsMarkedAndAnsweredAsNothing) {
    const auto entry = Entry({.CmdType = ORVIXCNB1_TA_GET_DEVICELIST});
    const SharedData& data = entry->Data();
    Adapter.Endpoint().SendNewWork(entry->Name());
    Host.Run(0);
    EXPECT_TRUE(data.Processed && !data.Cancelled && data.ArgumentList.empty());
    for (const char* tag : {"OtherTask", "CancelTask"}) {
        entry->Data().Processed = false;
        Driver->FireTimer(tag, 0);  // of the item accepted last
        EXPECT_TRUE(data.Processed);
        EXPECT_EQ(data.Cancelled, std::string(tag) == "CancelTask");
        EXPECT_EQ(data.ResultList.size(), 1U);
    }
    Host.Run(0);
    EXPECT_THAT(Adapter.Take(), testing::Each("TASKCOMPLETE | 0 | "));
}

TEST_F(DriverTest, TheDebugWindowFollowsTheModeAndThePort) {
    DebugWindow& window = *Host.Reports.Window;
    EXPECT_FALSE(window.Visible);
    Driver->DebugMode(true);
    EXPECT_EQ(window.Caption, " Debug Driver on port 3");
    EXPECT_TRUE(window.Visible && window.Controls["chkDebugMode"].Checked);
    Driver->PortAddress("4");
    EXPECT_EQ(window.Caption, " Debug Driver on port 4");
    std::vector<bool> activity;
    window.Changed = [&](const std::string& name) {
        if (name == "lblThreadID") activity.push_back(window.Controls[name].Highlighted);
    };
    Execute({.CmdType = ORVIXCNB1_TA_GET_DEVICELIST});
    Execute({.CmdType = ORVIXCNB1_TA_SET_VAR});
    EXPECT_THAT(activity, ElementsAre(true, false, true, false));
    window.Changed = {};
    Driver->DebugMode(false);
    EXPECT_FALSE(window.Visible);
    Execute({.CmdType = ORVIXCNB1_TA_GET_DEVICELIST});
    EXPECT_EQ(activity.size(), 4U);
}

TEST_F(DriverTest, TracesThePortAndFailures) {
    Driver->LogPath("/trace");
    Driver->LogMode(1);
    Send("CONNECT");
    Execute({.CmdType = ORVIXCNB1_TA_SET_VAR});
    Send("DISCONNECT");
    Driver->LogMode(0);
    Send("CONNECT");
    const std::string place = " (PlexaERR.Check.cOrvixDriverNB1.NetRequest Port 3)\n";
    EXPECT_EQ(Host.Stores.FileContents["/trace/2026-11-22.log"],
              "OrvixNimbo1Lib.cOrvixDriverNB1.Connect Port 3\nTask not executed: Invalid CmdType" + place +
                  "OrvixNimbo1Lib.cOrvixDriverNB1.iOrvixDriver_Disconnect Port 3\n");
}

TEST_F(DriverTest, APortThatCannotBeOpenedIsNoConnection) {
    Host.Line.MissingUntil = std::chrono::seconds(5);
    Host.Line.Log.clear();
    Send("CONNECT");
    EXPECT_THAT(Adapter.Take(), ElementsAre("DISCONNECTED"));
    ASSERT_EQ(Host.Reports.All.size(), 1U);
    EXPECT_THAT(Host.Reports.All[0], AllOf(HasSubstr("cOrvixDriverNB1.iOrvixDriver_Connect Port 3)"),
                                           HasSubstr("cOrvixDriverNB1.m_IPC_CustomMessage")));
    Host.Run(5000);
    Send("CONNECT");
    EXPECT_THAT(Adapter.Take(), ElementsAre("CONNECTED"));
    EXPECT_THAT(Host.Line.Log, ElementsAre("CommPort=3", "PortOpen=True", "CommPort=3", "PortOpen=True"));
    EXPECT_THROW(Driver->PortType(7), Error);
    Send("CONNECT");
    EXPECT_THAT(Adapter.Take(), ElementsAre("CONNECTED")) << "the port is the one before";
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
    const std::pair<SharedEntry*, ErrorNumber> failures[] = {{broken.get(), errors::InvalidContents},
                                                             {empty.get(), errors::MissingItem}};
    for (const auto& [entry, number] : failures) {
        EXPECT_EQ(entry->Data().e, number);
        EXPECT_THAT(entry->Data().eDescr, HasSubstr("IPlexaLinkTimer_FireTimer"));
        EXPECT_FALSE(entry->Data().Processed);
    }
    Execute({.CmdType = ORVIXCNB1_TA_GET_DEVICELIST});
    EXPECT_THAT(Messages, ElementsAre("TASKCOMPLETE | 0 | "));
}

}  // namespace
}  // namespace orvix::tests
