#include "tests/devices/device_fixture.h"

namespace orvix::tests {
namespace {

/// A task that another library has made.
class ForeignTask : public iOrvixTask {
    NB1_FAKE_PROPERTY(iOrvixTask, std::string, ID);
    VariantList& iOrvixTask_Params() override { return m_List; }
    VariantList& iOrvixTask_RtnArgs() override { return m_List; }
    NB1_FAKE_PROPERTY(iOrvixTask, std::string, MemoryMapKey);
    NB1_FAKE_PROPERTY(iOrvixTask, std::string, Name);
    NB1_FAKE_PROPERTY(iOrvixTask, ErrorNumber, e) = errors::None;
    NB1_FAKE_PROPERTY(iOrvixTask, std::string, eDescr);
    NB1_FAKE_PROPERTY(iOrvixTask, bool, ContinueIfFail) = false;
    NB1_FAKE_PROPERTY(iOrvixTask, std::int32_t, TimeoutInterval) = 0;
    NB1_FAKE_PROPERTY(iOrvixTask, std::int32_t, NetTimeoutInterval) = 0;
    NB1_FAKE_PROPERTY(iOrvixTask, bool, Executed) = false;
    NB1_FAKE_PROPERTY(iOrvixTask, std::shared_ptr<iOrvixDevice>, Device);
    NB1_FAKE_PROPERTY(iOrvixTask, std::string, DeviceAddress);
    NB1_FAKE_PROPERTY(iOrvixTask, std::int32_t, DeviceModel) = 0;
    NB1_FAKE_PROPERTY(iOrvixTask, std::int32_t, DeviceOrigin) = 0;
    ByteArray iOrvixTask_GetSuperState() const override { return {}; }
    void iOrvixTask_SetSuperState(ByteView) override {}
    void iOrvixTask_Clear() override {}
    void iOrvixTask_Destroy() override {}

    VariantList m_List;
};

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(DeviceTest, CommandCodes) {
    const std::string refused = "undefined VarID";
    const struct {
        std::int32_t VarID;
        std::string Sensor, Module;  // hexadecimal code, or the refusal
    } cases[] = {{1, "00 07", "00 07"}, {2, "0B 00", refused}, {3, "", ""},           {4, "", ""},
                 {5, refused, refused}, {6, refused, "05 00"}, {99, refused, refused}};
    const auto check = [&](iOrvixDevice& device, const char* name, std::int32_t varID, const std::string& expected) {
        SCOPED_TRACE(testing::Message() << name << ", variable " << varID);
        const auto task = Task(varID);
        device.TaskCommand(*task);
        const bool accepted = expected != refused;
        EXPECT_EQ(task->e(), accepted ? errors::None : errors::General);
        EXPECT_EQ(task->eDescr(), accepted ? "" : refused + " (OrvixNimbo1Lib." + name + ".iOrvixDevice_TaskCommand)");
        EXPECT_EQ(Hex(task->Cmd().ToText()), accepted ? expected : "");
        EXPECT_EQ(task->CmdExecuted(), !accepted) << "a failure ends the task";
        EXPECT_TRUE(!accepted || Var(device, varID).Pending());
    };
    for (const auto& item : cases) {
        check(m_Sensor, "cOrvixNB1TP", item.VarID, item.Sensor);
        check(m_Module, "cOrvixNB1DM", item.VarID, item.Module);
    }
    EXPECT_EQ(Var(m_Sensor, 2).Value().ToText(), "NB1/2x3/104/5/2");
}

TEST_F(DeviceTest, SensorReadings) {
    std::vector<std::string> written;
    Var(m_Sensor, 2).OnValid([&](VariableRecord& record) {
        written.push_back(record.Value().ToText() + (record.Valid() ? " valid" : " invalid"));
    });
    m_Sensor.ResponseInterpreter(*Answered(2, Bytes("83 40 00 00 FF")));
    EXPECT_THAT(m_Adapter.Take(), ElementsAre("changed:3")) << "the first status";
    m_Sensor.ResponseInterpreter(*Answered(2, Bytes("85 2A 00 00")));  // 85, before it has measured
    m_Sensor.ResponseInterpreter(*Answered(2, Bytes("00 00 00 00")));  // the smallest real
    EXPECT_THAT(written, ElementsAre("NB1/2x3/104/5/2 invalid", "24 valid", "24 invalid", "0 valid", "0 invalid",
                                     "5.877472E-39 valid"));
    EXPECT_THAT(m_Adapter.Take(), IsEmpty());

    m_Sensor.Mission().SimulateTrend(true);
    m_Sensor.ResponseInterpreter(*Answered(2, Bytes("80 A0 00 00")));
    EXPECT_EQ(m_Sensor.Temperature(), -2.5F);
    EXPECT_THAT(m_Adapter.Take(), ElementsAre("changed:3", "new task:Reading Temp log Device 5", "changed:4",
                                              "changed:3", "new task:Reading Temp log Device 5"));
    auto& oldLogAgain = dynamic_cast<iOrvixTaskNB1&>(*m_Adapter.Tasks.back());
    EXPECT_EQ(oldLogAgain.Tag(), JoinFields({"5", "106", "1", "1", "4"}));

    for (const char* bad : {"", "83 40 00", "FF 00 00 00"}) {
        const auto task = Answered(2, Bytes(bad));
        m_Sensor.ResponseInterpreter(*task);
        EXPECT_TRUE(task->e() != errors::None && task->CmdExecuted() && !Var(m_Sensor, 2).Valid());
    }
}

TEST_F(DeviceTest, ModuleReadings) {
    m_Module.Mission().SimulateTrend(true);
    m_Module.ResponseInterpreter(*Answered(6, Bytes("05")));
    EXPECT_EQ(Var(m_Module, 6).Value().ToText(), "\x05");
    EXPECT_EQ(Var(m_Module, 6).MonitorFlag(), 1) << "simulated, the mission is in progress";
    const auto noPayload = Task(6);
    noPayload->e(errors::None);
    m_Module.ResponseInterpreter(*noPayload);
    EXPECT_EQ(noPayload->e(), errors::MissingItem);
    EXPECT_FALSE(Var(m_Module, 6).Valid());
}

// Whatever else is in the task, and also for what the device could not read anyway.
TEST_F(DeviceTest, AFailedExchangeFailsTheTask) {
    const auto refuse = [](iOrvixDevice& device, iOrvixTaskNB1& task) {
        task.e(errors::Refused);
        task.eDescr("device refused");
        device.ResponseInterpreter(task);
        EXPECT_EQ(task.e(), errors::Validation);
        EXPECT_THAT(task.eDescr(), StartsWith("device refused (PlexaERR.Check.cOrvixNB1"));
        EXPECT_TRUE(task.CmdExecuted());
    };
    for (iOrvixDevice* device : std::initializer_list<iOrvixDevice*>{&m_Sensor, &m_Module}) {
        for (const std::int32_t varID : {1, 2, 3, 4, 5, 6, 99}) {
            SCOPED_TRACE(testing::Message() << device->DeviceDescription() << ", variable " << varID);
            device->TaskCommand(*Task(varID));
            const bool hasRecord = device->VarsEx().Exists(std::to_string(varID));
            if (hasRecord) Var(*device, varID).Valid(true);
            refuse(*device, *Answered(varID, Bytes("41 42 43 44")));
            EXPECT_FALSE(hasRecord && Var(*device, varID).Valid());
        }
        for (const auto action : {ORVIXCNB1_TA_START_MISSION, ORVIXCNB1_TA_STOP_MISSION}) {
            const auto task = Answered(0, "done");
            task->CmdType(action);
            refuse(*device, *task);
        }
    }
    EXPECT_THAT(m_Adapter.Take(), IsEmpty());
}

TEST_F(DeviceTest, AForeignTaskIsRefusedInASentence) {
    ForeignTask task;
    const std::pair<void (iOrvixDevice::*)(iOrvixTask&), const char*> members[] = {
        {&iOrvixDevice::TaskCommand, "iOrvixDevice_TaskCommand"},
        {&iOrvixDevice::ResponseInterpreter, "iOrvixDevice_ResponseInterpreter"}};
    for (const auto& [member, name] : members) {
        (static_cast<iOrvixDevice&>(m_Sensor).*member)(task);
        EXPECT_EQ(task.e(), errors::TypeMismatch);
        EXPECT_EQ(task.eDescr(),
                  std::string("The task is none of this library (OrvixNimbo1Lib.cOrvixNB1TP.") + name + ")");
    }
}

// The mission is held until the notifications that follow from a reading are through.
TEST_F(DeviceTest, AListenerMayDestroyTheDevice) {
    struct DestroyingAdapter : FakeAdapter {
        void iOrvixDevToAdapt_DeviceVarChanged(iOrvixDevice& device, VariableRecord&) override { device.Destroy(); }
    } adapter;
    for (iOrvixDevice* device : std::initializer_list<iOrvixDevice*>{&m_Sensor, &m_Module}) {
        device->Adapter(&adapter);
        const auto task = Answered(device->DefaultVar()->VarID(), Bytes("83 40 00 00"));
        device->ResponseInterpreter(*task);
        EXPECT_EQ(task->e(), errors::MissingItem);
        EXPECT_THAT(task->eDescr(), StartsWith("The device has been destroyed ("));
    }
}

TEST_F(DeviceTest, AnswerInParts) {
    const auto task = Answered(1, Bytes("41 42"));
    task->ArrivalExpectedBytes(5);
    for (const std::string part : {"ab", "cde"}) {
        EXPECT_FALSE(Var(m_Sensor, 1).Valid());
        task->Response(part);
        task->ResponseBytes(static_cast<std::int32_t>(part.size()));
        m_Sensor.ResponseInterpreter(*task);
        EXPECT_EQ(task->WaitingMultiPart(), part == "ab");
    }
    EXPECT_EQ(task->Arrival().ToText() + m_Sensor.SerialNumber(), "abcdeAB");
}

TEST_F(DeviceTest, MissionAnswers) {
    const auto stop = Answered(0, "done");
    stop->CmdType(ORVIXCNB1_TA_STOP_MISSION);
    m_Sensor.ResponseInterpreter(*stop);
    EXPECT_THAT(m_Adapter.Take(), ElementsAre("monitor changed:5", "changed:3", "changed:4"));

    Var(m_Sensor, 3).Value("21");
    TakeOffline();
    m_Sensor.ResponseInterpreter(*stop);
    EXPECT_THAT(stop->eDescr(), StartsWith("unsupported action Stop Mission ("));
    m_Sensor.ResponseInterpreter(*Answered(2, ""));
    EXPECT_TRUE(Var(m_Sensor, 2).Valid()) << "an offline device only validates";
}

TEST_F(DeviceTest, MonitoringAndNames) {
    m_Sensor.ConnectedEx(true);
    m_Sensor.ConnectedEx(true);
    m_Sensor.ConnectedEx(false);
    EXPECT_THAT(m_Adapter.Take(), ElementsAre("monitor changed:5"));
    m_Sensor.MonitorVar(77, 1, 250);
    EXPECT_THAT(m_Host.Reports.All,
                ElementsAre(testing::HasSubstr("cOrvixNB1TP.SafeVarMonAdd(VarID,VarMon,Interval&)")));

    m_Sensor.SerialNumber("S1");
    m_Sensor.Name("Oven");
    EXPECT_EQ(m_Host.Database.PlantNames["S1"], "Oven");

    TakeOffline();
    m_Sensor.Monitor(true);
    EXPECT_FALSE(m_Sensor.Monitor()) << "no exchange backs it";
    m_Sensor.Address("5-2");
    m_Sensor.Name("Copy");
    EXPECT_EQ(Var(m_Sensor, 1).Tag(), "NB1/2x3/104/5-2/1");
    EXPECT_EQ(m_Host.Database.PlantNames["S1"], "Oven");

    m_Sensor.Destroy();
    const auto task = Answered(2, Bytes("83 40 00 00"));
    m_Sensor.ResponseInterpreter(*task);
    EXPECT_EQ(task->e(), errors::MissingItem);
    EXPECT_THROW(m_Sensor.Mission(), Error);
}

TEST_F(DeviceTest, SuperStateRestoresTheMission) {
    m_Sensor.Temperature(21.5F);
    m_Sensor.TaskCommand(*Task(4));
    m_Sensor.TaskCommand(*Task(3));
    Var(m_Sensor, 3).Value("22.5");
    Var(m_Sensor, 4).Value(TextToBytes(Bytes("00 00 A0 41 00 00 B0 41")));  // 20 and 22
    const ByteArray saved = m_Sensor.GetSuperState();

    cOrvixNB1TP copy(m_Host.Services);
    copy.Adapter(&m_Adapter);
    auto& mission = dynamic_cast<cOrvixNB1Mission&>(copy.Mission());
    MissionStatusSeam::Status(mission).MissionSamples = 2;
    m_Adapter.Take();
    copy.SetSuperState(saved);
    EXPECT_EQ(copy.GetSuperState(), saved);
    EXPECT_EQ(copy.Temperature(), 21.5F);
    EXPECT_THAT(m_Adapter.Take(), ElementsAre("changed:3"));
    EXPECT_EQ(copy.Mission().MaxTemp(), 22.0F);

    EXPECT_THROW(m_Module.SetSuperState(saved), Error) << "a state of another model";
    PropertyBag hostile(saved);
    hostile.WriteProperty("VarsCount", std::numeric_limits<std::int32_t>::max());
    EXPECT_THROW(copy.SetSuperState(hostile.Contents()), Error);
    EXPECT_EQ(copy.GetSuperState(), saved) << "what cannot be read changes nothing";
}

}  // namespace
}  // namespace orvix::tests
