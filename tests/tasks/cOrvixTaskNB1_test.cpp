#include "tasks/cOrvixTaskNB1.h"

#include <gtest/gtest.h>

#include <sstream>

#include "host/property_bag.h"
#include "host/text.h"
#include "tests/support/fake_device.h"
#include "tests/support/test_host.h"

namespace orvix {
namespace {

class TaskTest : public testing::Test {
protected:
    static ByteArray Outer(const ByteArray& inner) {
        PropertyBag bag;
        bag.WriteProperty("Device", "");
        bag.WriteProperty("State", inner);
        return bag.Contents();
    }

    void Fill(cOrvixTaskNB1& task) {
        task.ID("T1");
        task.DeviceAddress("12");
        task.GetVar(ORVIXCNB1_VAR_TEMPERATURE);
        task.Params().emplace_back(ByteArray{0, 1, 255});
        task.Cmd(Variant(std::string("\x18\0", 2)));
        task.CmdExecuted(true);
        task.Response(ByteArray{9});
        task.ResponseBytes(1);
        task.Arrival(21.5);
        task.ArrivalBytes(2);
        task.ArrivalExpectedBytes(3);
        task.WaitingMultiPart(true);
        task.RtnArgs().emplace_back(Null{});
        task.RtnArgs().emplace_back("payload");
        task.TimeoutInterval(400);
        task.NetTimeoutInterval(-7);
        task.e(errors::Checksum);
        task.eDescr("bad sum");
        task.ContinueIfFail(true);
        task.MemoryMapKey("map");
        task.DeviceModel(106);
    }

    /// What the state of a filled task that has been sent holds, entry by entry.
    static PropertyBag FilledState() {
        const std::pair<const char*, Variant> entries[] = {{"ID", "T1"},
                                                           {"CmdType", 1},
                                                           {"Cmd", std::string("\x18\0", 2)},
                                                           {"CmdSended", true},
                                                           {"CmdExecuted", true},
                                                           {"ResponseAsParameter", false},
                                                           {"Response", ByteArray{9}},
                                                           {"ResponseBytes", 1},
                                                           {"DataReturnedAsArray", false},
                                                           {"Arrival", 21.5},
                                                           {"ArrivalBytes", 2},
                                                           {"ArrivalExpectedBytes", 3},
                                                           {"WaitingMultiPart", true},
                                                           {"Param1", 2},
                                                           {"Param2", ByteArray{0, 1, 255}},
                                                           {"ParamsCount", 2},
                                                           {"RtnArgsCount", 2},
                                                           {"RtnArg1", Null{}},
                                                           {"RtnArg2", "payload"},
                                                           {"Name", "Reading Temp Device 12"},
                                                           {"TimeoutInterval", 400},
                                                           {"NetTimeoutInterval", -7},
                                                           {"e", std::int32_t{errors::Checksum}},
                                                           {"eDescr", "bad sum"},
                                                           {"ContinueIfFail", true},
                                                           {"MemMapKey", "map"},
                                                           {"DeviceAddress", "12"},
                                                           {"DeviceModel", 106}};
        PropertyBag bag;
        for (const auto& [key, value] : entries)
            bag.WriteProperty(key, value);
        return bag;
    }

    /// What the members read.
    static std::string Shown(const iOrvixTaskNB1& task) {
        std::ostringstream all;
        all << std::boolalpha << task.ID() << ", " << task.CmdType() << ", " << task.VarID() << ", "
            << task.Cmd().ToText().c_str() << ", " << task.CmdSended() << ", " << task.CmdExecuted() << ", "
            << task.Response().ToText() << ", " << task.ResponseBytes() << ", " << task.Arrival().ToText() << ", "
            << task.ArrivalBytes() << ", " << task.ArrivalExpectedBytes() << ", " << task.WaitingMultiPart() << ", "
            << task.Name() << ", " << task.TimeoutInterval() << ", " << task.NetTimeoutInterval() << ", " << task.e()
            << ", " << task.eDescr() << ", " << task.ContinueIfFail() << ", " << task.MemoryMapKey() << ", "
            << task.DeviceAddress() << ", " << task.DeviceModel() << ", " << task.Executed() << ", " << task.IsLinked();
        return all.str();
    }

    tests::World m_World;
    tests::TestHost m_Host{m_World};
    cOrvixTaskNB1 m_Task{m_Host.Services};
};

TEST_F(TaskTest, ClearKeepsWhatItMustKeep) {
    EXPECT_EQ(m_Task.e(), errors::NotExecuted);
    EXPECT_EQ(m_Task.TimeoutInterval(), 10);
    EXPECT_EQ(m_Task.NetTimeoutInterval(), 10);
    EXPECT_EQ(m_Task.Cmd(), Variant(""));
    Fill(m_Task);
    m_Task.DeviceOrigin(2);
    m_Task.ReadMemory();
    m_Task.Clear();
    EXPECT_TRUE(m_Task.MemoryReaded());
    EXPECT_EQ(m_Task.DeviceOrigin(), 1);
    cOrvixTaskNB1 expected(m_Host.Services);
    expected.Name("Reading Temp Device 12");
    expected.ContinueIfFail(true);
    expected.Arrival(21.5);
    expected.ArrivalBytes(2);
    expected.ArrivalExpectedBytes(3);
    EXPECT_EQ(m_Task.GetSuperState(), expected.GetSuperState());
}

TEST_F(TaskTest, ForgettingAnExchangeKeepsWhatIsToBeDone) {
    Fill(m_Task);
    m_Task.CmdSended(true);
    m_Task.DeviceOrigin(2);
    m_Task.ForgetExchange();
    m_Host.Run(1000);
    EXPECT_FALSE(m_Task.Timeout());
    EXPECT_EQ(m_Task.DeviceOrigin(), 2);
    cOrvixTaskNB1 expected(m_Host.Services);
    Fill(expected);
    expected.CmdExecuted(false);
    expected.Response("");
    expected.ResponseBytes(0);
    expected.Arrival("");
    expected.ArrivalBytes(0);
    expected.ArrivalExpectedBytes(0);
    expected.WaitingMultiPart(false);
    expected.RtnArgs().clear();
    EXPECT_EQ(m_Task.GetSuperState(), expected.GetSuperState());
    m_Task.ReadLinkedResult(expected);
    m_Task.ForgetExchange();
    EXPECT_FALSE(m_Task.IsLinked() || m_Task.Executed());
}

TEST_F(TaskTest, WhatATaskHoldsIsReleased) {
    const auto device = std::make_shared<tests::FakeDevice>();
    for (const bool destroyed : {false, true}) {
        Fill(m_Task);
        m_Task.Device(device);
        EXPECT_EQ(m_Task.DeviceAddress() + "/" + NumberText(m_Task.DeviceModel()), "5/106");
        EXPECT_EQ(m_Task.Device(), device);
        if (destroyed) m_Task.Destroy();
        if (!destroyed) m_Task.Clear();
        EXPECT_EQ(device.use_count(), 1);
        EXPECT_TRUE(m_Task.Params().empty() && m_Task.RtnArgs().empty());
        m_Task.CmdExecuted(false);
        m_Task.CmdSended(true);
        m_Host.Run(500);
        EXPECT_EQ(m_Task.Timeout(), !destroyed) << "a destroyed task has no timer";
    }
}

TEST_F(TaskTest, AStateMayStandInTheTasksOwnLists) {
    cOrvixTaskNB1 source(m_Host.Services);
    Fill(source);
    source.RtnArgs().assign(1, ByteArray(5000, 7));
    for (VariantList* list : {&m_Task.Params(), &m_Task.RtnArgs()}) {
        list->assign(1, source.GetSuperState());
        m_Task.SetSuperState(*list->front().As<ByteArray>());
        EXPECT_EQ(m_Task.GetSuperState(), source.GetSuperState());
    }
}

TEST_F(TaskTest, VariableAndTag) {
    EXPECT_EQ(m_Task.Tag(), JoinFields({"", "0", "1", "0", "0"}));
    m_Task.DeviceAddress("12");
    m_Task.GetVar(ORVIXCNB1_VAR_TEMPERATURE);
    m_Task.GetVar(ORVIXCNB1_VAR_STATUS);
    EXPECT_EQ(m_Task.Name(), "Reading Device status Device 12");
    EXPECT_EQ(m_Task.VarID(), ORVIXCNB1_VAR_TEMPERATURE);
    m_Task.DeviceModel(106);
    EXPECT_EQ(m_Task.Tag(), JoinFields({"12", "106", "1", "1", "2"}));
    m_Task.Params().front() = "no number";
    EXPECT_EQ(m_Task.VarID(), ORVIXCNB1_VAR_NONE);
    m_Task.GetDeviceList(104);
    EXPECT_EQ(m_Task.Name(), "Discovering net devices");
    EXPECT_EQ(m_Task.DeviceModel(), 104);
}

TEST_F(TaskTest, TimesOutUnlessAnswered) {
    const auto catalogue = m_Host.Database.CreateConnection();
    catalogue->Open("Orvix.mdb", "Orvix.mdw", m_Host.Database.Account());
    cPlexaERR(m_Host.Services).SetMessageProvider(catalogue);
    for (const std::int32_t interval : {0, 10, -5}) {
        m_Task.Clear();
        m_Task.TimeoutInterval(interval);
        m_Task.CmdSended(true);
        EXPECT_EQ(m_Task.TimeoutInterval(), 10);
        m_Host.Run(9);
        EXPECT_FALSE(m_Task.Timeout());
        m_Host.Run(2);
        EXPECT_TRUE(m_Task.Timeout());
        EXPECT_EQ(m_Task.e(), errors::TimeOut);
        EXPECT_EQ(m_Task.eDescr(), m_Host.Database.Messages["#-2147215991"]);
    }
    m_Task.CmdExecuted(true);
    m_Task.CmdSended(true);
    m_Host.Run(50);
    EXPECT_FALSE(m_Task.Timeout()) << "an answer is in";
}

TEST_F(TaskTest, StateCarriesEveryField) {
    PropertyBag filled = FilledState();
    Fill(m_Task);
    m_Task.CmdSended(true);
    m_Task.DeviceOrigin(2);
    EXPECT_EQ(m_Task.GetSuperState(), Outer(filled.Contents()));

    filled.WriteProperty("ResponseAsParameter", true);
    filled.WriteProperty("DataReturnedAsArray", true);
    cOrvixTaskNB1 loaded(m_Host.Services);
    loaded.SetSuperState(Outer(filled.Contents()));
    EXPECT_EQ(loaded.GetSuperState(), Outer(filled.Contents()));
    EXPECT_EQ(loaded.DeviceOrigin(), 1) << "not carried";
    EXPECT_EQ(Shown(loaded),
              "T1, 1, 2, \x18, true, true, \x9, 1, 21.5, 2, 3, true, Reading Temp Device 12, 400, -7, -2147215988, "
              "bad sum, true, map, 12, 106, false, false");
    loaded.CmdExecuted(false);
    m_Host.Run(1000);
    EXPECT_FALSE(loaded.Timeout()) << "loading must not start the timer";
    loaded.GetDeviceList(104);
    filled.WriteProperty("CmdType", 3);
    filled.WriteProperty("Name", "Discovering net devices");
    filled.WriteProperty("CmdExecuted", false);
    filled.WriteProperty("DeviceModel", 104);
    EXPECT_EQ(loaded.GetSuperState(), Outer(filled.Contents()));

    loaded.RtnArgs().assign(50000, "a state of any size loads and stores in a time in proportion to it");
    m_Task.SetSuperState(loaded.GetSuperState());
    EXPECT_EQ(m_Task.RtnArgs(), loaded.RtnArgs());
}

TEST_F(TaskTest, StatesFromOutside) {
    PropertyBag few;
    few.WriteProperty("e", 0);
    few.WriteProperty("Param1", "a");
    few.WriteProperty("Param3", "c");
    few.WriteProperty("ParamsCount", 2147483647);
    few.WriteProperty("RtnArgsCount", 1);
    few.WriteProperty("RtnArg1", 1.5F);
    few.WriteProperty("RtnArg2", "beyond the count");
    few.WriteProperty("ResponseBytes", "12");
    m_Task.SetSuperState(Outer(few.Contents()));
    EXPECT_EQ(m_Task.Params(), VariantList{"a"});
    EXPECT_EQ(m_Task.RtnArgs(), VariantList{1.5F});
    EXPECT_EQ(m_Task.ResponseBytes(), 12);
    EXPECT_EQ(m_Task.TimeoutInterval(), 10);

    few.WriteProperty("ParamsCount", -1);
    m_Task.SetSuperState(Outer(few.Contents()));
    EXPECT_TRUE(m_Task.Params().empty());

    few.WriteProperty("DeviceModel", Null{});
    for (const ByteArray& bad :
         {ByteArray{}, ByteArray{1, 2, 3}, PropertyBag().Contents(), Outer({7}), Outer(few.Contents())}) {
        m_Task.ID("old");
        EXPECT_THROW(m_Task.SetSuperState(bad), Error);
        EXPECT_EQ(m_Task.ID(), "");
        EXPECT_EQ(m_Task.e(), errors::NotExecuted);
    }
}

TEST_F(TaskTest, ReadMemoryKeepsIdentityAndEntry) {
    cOrvixTaskNB1 source(m_Host.Services);
    Fill(source);
    source.MemoryMapKey("");
    const auto entry = tests::EntryWith(m_Host.Messaging, source.GetSuperState(), "entry");
    for (const char* given : {"", "given"}) {
        m_Task.Clear();
        m_Task.ID(given);
        m_Task.MemoryMapKey("entry");
        m_Task.ReadMemory();
        EXPECT_EQ(m_Task.ID(), *given ? given : "T1");
        EXPECT_EQ(m_Task.MemoryMapKey(), "entry");
        EXPECT_EQ(m_Task.RtnArgs(), source.RtnArgs());
    }
    m_Task.MemoryMapKey("nowhere");
    m_Task.ReadMemory();
    EXPECT_EQ(m_Task.MemoryMapKey(), "nowhere");
}

TEST_F(TaskTest, CompletionPublishesAndStopsTheTimer) {
    const auto entry = tests::EntryWith(m_Host.Messaging, {}, "entry");
    m_Task.MemoryMapKey("entry");
    m_Task.CmdSended(true);
    m_Task.e(errors::Refused);
    m_Task.eDescr("refused");
    m_Task.Executed(true);
    EXPECT_EQ(entry->Data().ResultList, std::vector<ByteArray>{m_Task.GetSuperState()});
    EXPECT_EQ(entry->Data().e, errors::Refused);
    EXPECT_EQ(entry->Data().eDescr, "refused");
    EXPECT_TRUE(entry->WaitForCompletion(0));
    EXPECT_FALSE(entry->Succeeded());

    const auto linkedEntry = tests::EntryWith(m_Host.Messaging, {}, "linked");
    cOrvixTaskNB1 linked(m_Host.Services);
    linked.MemoryMapKey("linked");
    m_Task.e(0);
    m_Task.RtnArgs().emplace_back("answer");
    linked.RtnArgs().emplace_back("own");
    linked.ReadLinkedResult(m_Task);
    EXPECT_TRUE(linked.IsLinked() && linked.CmdSended() && linked.CmdExecuted() && linked.Executed());
    EXPECT_EQ(linked.RtnArgs(), VariantList{"answer"});
    EXPECT_TRUE(linkedEntry->Succeeded());
    m_Host.Run(100);
    EXPECT_FALSE(m_Task.Timeout() || linked.Timeout());
}

}  // namespace
}  // namespace orvix
