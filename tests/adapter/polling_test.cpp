#include <algorithm>

#include "tests/adapter/adapter_fixture.h"

namespace orvix::tests {

class PollingTest : public AdapterTest {
protected:
    /// Answers every work item for so long; returns when each came and for which device.
    std::vector<std::string> AnswerFor(int milliseconds) {
        std::vector<std::string> seen;
        for (int passed = 0; passed < milliseconds; passed += 5) {
            Host.Run(5);
            for (const std::string& key : Driver->TakeWork()) {
                const auto task = Driver->Load(key);
                seen.push_back(std::to_string(passed + 5) + ":" + task->Name());
                Driver->Answer(key, task->CmdType() == ORVIXCNB1_TA_GET_VAR ? VariantList{kReply24} : VariantList{});
            }
        }
        return seen;
    }
};

TEST_F(PollingTest, MonitoredVariablesAreReadAtTheSmallestInterval) {
    Connect();
    Adapter.PollingMSecs(300);
    const auto device = Adapter.Devices()->Item("5");
    device->MonitorVar(1, 1, 50);  // floor: 100
    device->Monitor(true);
    Host.Run(50);
    device->VarsEx().Item("1")->Monitored(true);
    Subscriber.Take();
    Adapter.MonitorVars(true);
    EXPECT_EQ(AnswerFor(240), (std::vector<std::string>{"20:(Polling) Reading Serial number Device 5",
                                                        "130:(Polling) Reading Serial number Device 5",
                                                        "230:(Polling) Reading Serial number Device 5"}));
    const auto told = Subscriber.Take();
    EXPECT_EQ(std::count(told.begin(), told.end(), "ORVIX_CNN_ACTIVITY | 0"), 2) << "idle between them";
    device->MonitorVar(1, 1, 0);  // back to the polling period
    AnswerFor(100);
    EXPECT_EQ(AnswerFor(600).size(), 2U);
}

TEST_F(PollingTest, WhichDevicesArePolled) {
    const struct {
        bool Monitor, Connected, MonitorNet, Polled;
    } cases[] = {
        {true, false, false, true}, {true, true, true, true}, {true, false, true, false}, {false, true, false, false}};
    for (const auto& c : cases) {
        Adapter.MonitorNet(c.MonitorNet);
        Adapter.MonitorVars(false);
        Connect();
        AnswerFor(50);
        const auto device = Adapter.Devices()->Item("5");
        device->MonitorVar(2, 1, 0);
        device->Monitor(c.Monitor);
        device->ConnectedEx(c.Connected);
        device->DefaultVar()->Monitored(true);
        Adapter.MonitorVars(true);
        EXPECT_EQ(testing::Value(AnswerFor(50), Contains(testing::HasSubstr("Reading Temp Device 5"))), c.Polled);
        Adapter.OnLine(false);
        Host.Run(50);
    }
}

TEST_F(PollingTest, DiscoveryRunsOncePerPeriodAndMountsWhatItFinds) {
    Host.Database.Registered = {{"7", 104, "SN7"}};
    Connect();
    Adapter.PollingMSecs(1000);
    Adapter.MonitorNet(true);
    Host.Run(20);
    const auto keys = Driver->TakeWork();
    ASSERT_EQ(keys.size(), 1U);
    Subscriber.Take();
    Driver->Answer(keys[0], {"5", "9"});
    Host.Run(10);
    EXPECT_THAT(Subscriber.Take(), ElementsAre("ORVIX_CNN_ACTIVITY | 1", "NetChanged", "UnregisteredNetChanged"));
    EXPECT_TRUE(Adapter.Devices()->Item("5")->ConnectedEx());
    EXPECT_FALSE(Adapter.Devices()->Item("7")->ConnectedEx());
    EXPECT_EQ(AnswerFor(2000).size(), 2U);
    EXPECT_FALSE(Adapter.UnregisteredDevices()->Item("9")->ConnectedEx());
}

TEST_F(PollingTest, ChangedVariablesAreTold) {
    Connect();
    for (const std::int32_t varID : {1, 2, 3, 4, 5, 6}) {
        VariableRecord record;
        record.VarID(varID);
        ToAdapter.DeviceVarChanged(*Adapter.Devices()->Item("5"), record);
    }
    Host.Run(0);
    EXPECT_THAT(Subscriber.Take(), ElementsAre("DEVICE_TEMPERATURE_CHANGED | 5", "DEVICE_STATUS_CHANGED | 5",
                                               "DEVICE_TEMPLOG_CHANGED | 5", "DEVICE_ALARM_CHANGED | 5"));
}

}  // namespace orvix::tests
