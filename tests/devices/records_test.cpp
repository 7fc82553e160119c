#include "tests/devices/device_fixture.h"

namespace orvix::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Seam = MissionStatusSeam;

/// What becomes of the records of a device, looked at whole after every step.
class RecordsTest : public DeviceTest {
protected:
    RecordsTest() = default;

    /// A live mission that samples every 30 minutes.
    void SetUp() override {
        DeviceTest::SetUp();
        for (iOrvixDevice* device : std::initializer_list<iOrvixDevice*>{&m_Sensor, &m_Module})
            Seam::Status(MissionOf(*device)) = {.InProgress = true, .MissionSamples = 1, .Rate = 30};
    }

    static constexpr char kSerialTag[] = "NB1/2x3/104/5/1";
};

TEST_F(RecordsTest, AskingAndAnswering) {
    EXPECT_THAT(Records(m_Sensor), ElementsAre("1 NB1/2x3/104/5/1 ---- 0/0", "2 NB1/2x3/104/5/2 ---- 0/0"));
    for (const std::int32_t varID : {1, 2, 3, 4})
        m_Sensor.TaskCommand(*Task(varID));
    EXPECT_THAT(Records(m_Sensor),
                ElementsAre("1 NB1/2x3/104/5/1 -p-- 0/0", "2 NB1/2x3/104/5/2 -p-- 0/0", "3  -p-- 0/0", "4  -p-- 0/0"));
    m_Sensor.ResponseInterpreter(*Answered(1, "SN-5"));
    m_Sensor.ResponseInterpreter(*Answered(2, Bytes("83 40 00 00")));
    m_Sensor.ResponseInterpreter(*Answered(4, ""));
    const auto answered = ElementsAre("1 SN-5 v--- 0/0", "2 24 v--- 0/30000", "3  -p-- 0/0", "4  v--- 0/0");
    EXPECT_THAT(Records(m_Sensor), answered);

    const auto stop = Answered(0, "done");
    stop->CmdType(ORVIXCNB1_TA_STOP_MISSION);
    m_Sensor.ResponseInterpreter(*stop);
    EXPECT_THAT(Records(m_Sensor),
                ElementsAre("1 SN-5 v--- 0/0", "2 24 v--- 0/30000", "3 done v--- 1/30000", "4  v--- 0/0"));
    Seam::Status(MissionOf(m_Sensor)).InProgress = false;
    m_Sensor.ResponseInterpreter(*stop);
    EXPECT_EQ(Records(m_Sensor)[2], "3 done v--- 0/30000");
}

TEST_F(RecordsTest, AModulesReadingDecidesWhetherItsPollingGoesOn) {
    m_Module.MonitorVar(6, 1, 250);
    m_Module.TaskCommand(*Task(6));
    EXPECT_THAT(Records(m_Module), ElementsAre("1 NB1/2x3/104/5/1 ---- 0/0", "6 NB1/2x3/104/5/6 -p-- 1/250"));
    m_Module.ResponseInterpreter(*Answered(6, "A"));
    EXPECT_EQ(Records(m_Module)[1], "6 A v--- 1/30000");
    Seam::Status(MissionOf(m_Module)).InProgress = false;
    m_Module.ResponseInterpreter(*Answered(6, "B"));
    EXPECT_EQ(Records(m_Module)[1], "6 B v--- 0/30000");
}

TEST_F(RecordsTest, MonitoringSwitches) {
    m_Sensor.SerialNumber("S1");
    m_Sensor.MonitorVar(2, 1, 250);
    EXPECT_THAT(m_Adapter.Take(), ElementsAre("monitor changed:5"));
    EXPECT_THAT(Records(m_Sensor), ElementsAre("1 S1 v--- 0/0", "2 NB1/2x3/104/5/2 ---- 1/250"));
    m_Sensor.ConnectedEx(true);
    EXPECT_TRUE(m_Sensor.ConnectedEx());
    EXPECT_THAT(Records(m_Sensor), ElementsAre("1 S1 v-m- 0/0", "2 NB1/2x3/104/5/2 --m- 1/250"));
    m_Adapter.Take();
    m_Sensor.Monitor(false);
    EXPECT_THAT(m_Adapter.Take(), ElementsAre("monitor changed:5"));
    EXPECT_THAT(Records(m_Sensor), ElementsAre("1 S1 v-ms 0/0", "2 NB1/2x3/104/5/2 --ms 1/250"));
    m_Sensor.ConnectedEx(false);
    m_Sensor.Monitor(true);
    EXPECT_TRUE(m_Sensor.Monitor() && !m_Sensor.ConnectedEx());
    EXPECT_THAT(Records(m_Sensor), ElementsAre("1 S1 v-m- 0/0", "2 NB1/2x3/104/5/2 --m- 1/250"));
    m_Sensor.MonitorVar(2, 0, 99);
    EXPECT_EQ(Records(m_Sensor)[1], "2 NB1/2x3/104/5/2 --m- 0/250");
    EXPECT_THAT(m_Adapter.Take(), ElementsAre("monitor changed:5", "monitor changed:5"));
    m_Sensor.MonitorVar(2, 2, 7);
    EXPECT_THAT(Records(m_Sensor), ElementsAre("1 S1 v-m- 0/0")) << "given up";
    m_Sensor.Address("6");
    EXPECT_THAT(Records(m_Sensor), ElementsAre("1 NB1/2x3/104/6/1 ---- 0/0", "2 NB1/2x3/104/6/2 ---- 0/0"));
}

TEST_F(RecordsTest, TracingOfADeviceIsThatOfItsApartment) {
    EXPECT_EQ(m_Sensor.LogPath(), "/lib/Log/");
    m_Sensor.LogPath("/trace");
    m_Sensor.LogMode(true);
    EXPECT_TRUE(m_Sensor.LogMode());
    cEventTracer tracer(m_Host.Services);
    tracer.TraceEvent("on");
    m_Sensor.LogMode(false);
    tracer.TraceEvent("off");
    EXPECT_EQ(m_Host.Stores.FileContents.at("/trace/2026-11-22.log"), "on\n");
}

TEST_F(RecordsTest, WhatAnAnswerTells) {
    const auto alarm = "changed:5";
    const struct {
        std::int32_t VarID;
        bool LogChanged, Alarm;
        std::vector<std::string> Events;
        std::string Flags;  ///< afterwards: status loaded, status changed, log loaded, log changed
    } cases[] = {
        {1, true, true, {}, "0001"},
        {4, false, false, {}, "0000"},
        {4, true, false, {"changed:4"}, "0000"},
        {4, false, true, {alarm}, "0000"},
        {4, true, true, {"changed:4", alarm}, "0000"},
        // The first reading is a new status, and what is known of a log is old then.
        {2, true, false, {"changed:3"}, "1000"},
        {2, true, true, {"changed:3", alarm}, "1000"},
    };
    for (const auto& it : cases) {
        SCOPED_TRACE(testing::Message() << it.VarID << it.LogChanged << it.Alarm);
        cOrvixNB1TP sensor(m_Host.Services);
        sensor.Adapter(&m_Adapter);
        sensor.Address("5");
        Seam::SetTempLogChanged(MissionOf(sensor), it.LogChanged);
        Seam::SetNewAlarm(MissionOf(sensor), it.Alarm);
        sensor.ResponseInterpreter(*Answered(it.VarID, Bytes("83 40 00 00")));
        EXPECT_EQ(m_Adapter.Take(), it.Events);
        EXPECT_EQ(Seam::Flags(MissionOf(sensor)), it.Flags);
        EXPECT_EQ(Seam::NewAlarm(MissionOf(sensor)), it.VarID == 1 && it.Alarm);
    }
    EXPECT_THAT(m_Adapter.Tasks, IsEmpty());
}

TEST_F(RecordsTest, StateCarriesEveryField) {
    m_Sensor.SerialNumber("S1");
    m_Sensor.Name("Oven");
    m_Sensor.PwdR("r");
    m_Sensor.PwdRW("rw");
    for (const bool connected : {false, true}) {
        m_Sensor.ConnectedEx(connected);
        m_Sensor.Monitor(!connected);
        PropertyBag fields;
        fields.WriteProperty("SerialNumber", "S1");
        fields.WriteProperty("Address", "5");
        fields.WriteProperty("DeviceModel", 106);
        fields.WriteProperty("DeviceOrigin", 1);
        fields.WriteProperty("Name", "Oven");
        fields.WriteProperty("PwdR", "r");
        fields.WriteProperty("PwdRW", "rw");
        fields.WriteProperty("Connected", connected);
        fields.WriteProperty("Monitor", !connected);
        PropertyBag state(m_Sensor.GetSuperState());
        EXPECT_EQ(state.ReadProperty("SerialNumber"), Variant("S1"));
        EXPECT_EQ(state.ReadProperty("Address"), Variant("5"));
        EXPECT_EQ(state.ReadProperty("DeviceModel"), Variant(106));
        EXPECT_EQ(state.ReadProperty("State"), Variant(fields.Contents()));
        EXPECT_EQ(state.ReadProperty("VarsCount"), Variant(2));
        EXPECT_EQ(state.ReadProperty("Var1"), Variant(Var(m_Sensor, 1).GetSuperState()));
        EXPECT_EQ(state.ReadProperty("Var2"), Variant(Var(m_Sensor, 2).GetSuperState()));

        cOrvixNB1TP copy(m_Host.Services);
        copy.SetSuperState(m_Sensor.GetSuperState());
        EXPECT_EQ(copy.Address() + copy.Name() + copy.SerialNumber() + copy.PwdR() + copy.PwdRW(), "5OvenS1rrw");
        EXPECT_EQ(copy.ConnectedEx(), connected);
        EXPECT_EQ(copy.Monitor(), !connected);
        EXPECT_EQ(copy.DeviceOrigin(), 1);
        EXPECT_EQ(Records(copy), Records(m_Sensor));
    }
}

}  // namespace
}  // namespace orvix::tests
