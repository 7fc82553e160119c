#include "tests/adapter/adapter_fixture.h"

namespace orvix::tests {

class TasksTest : public AdapterTest {
protected:
    /// The work that the driver has got after one more tick; exactly one item.
    std::string NextWork() {
        Host.Run(10);
        const auto keys = Driver->TakeWork();
        EXPECT_EQ(keys.size(), 1U);
        return keys.empty() ? std::string() : keys.front();
    }
};

TEST_F(TasksTest, EqualRequestsAreAnsweredOnce) {
    Connect();
    const auto first = Queue(Reading("5"));
    const auto entry = Entry(*Reading("5"));
    EXPECT_FALSE(Adapter.NewWork(entry->Name(), 0));
    const std::string key = NextWork();
    EXPECT_EQ(Driver->Load(key)->TimeoutInterval(), 4 * (5 * 10 + 300) + 500);
    Driver->Answer(key, {kReply24});
    Host.Run(40);
    EXPECT_THAT(Driver->Peer.Take(),
                ElementsAre("DEBUGINFO | Executed Reading Temp Device 5 - Result success | True | "));
    EXPECT_THAT(Subscriber.Take(),
                ElementsAre("progress:Reading Temp Device 5:20:0:100", "DEVICE_STATUS_CHANGED | 5",
                            "progress:Reading Temp Device 5:100:0:100", "progress:Reading Temp Device 5:100:0:100"));
    EXPECT_TRUE(entry->Succeeded() && first->Executed());
    EXPECT_EQ(entry->Data().ResultList.size(), 1U) << "published once";
    EXPECT_FALSE(Object.Busy());
}

TEST_F(TasksTest, AnswersThatAreNoReading) {
    // The device reports a failed exchange with its own number.
    const struct {
        std::string Answer;
        std::vector<ByteArray> Result;
        ErrorNumber e;
        std::string eDescr;
    } cases[] = {
        {JoinFields({"TASKCOMPLETE", "-2147215986", "busy"}), {}, errors::Validation, "busy"},
        {JoinFields({"TASKCOMPLETE", "x", "no number"}), {}, errors::MissingItem, ""},
        {JoinFields({"TASKCOMPLETE", "0", ""}), {}, errors::Validation, "the entry's own"},
        {JoinFields({"TASKCOMPLETE", "0", ""}), {{1, 2, 3}}, errors::Validation, ""},
        {JoinFields({"TASKCOMPLETE", "0", ""}), {Reading("5")->GetSuperState()}, errors::Validation, ""},
    };
    for (const auto& c : cases) {
        Connect();
        const auto task = Queue(Reading("5"));
        const auto request = Host.Messaging.CreateSharedEntry();
        request->Open(NextWork());
        request->Data().ResultList = c.Result;
        request->Data().Processed = c.e == errors::MissingItem;
        if (c.eDescr == "the entry's own") request->Data().e = errors::InvalidContents;
        request->Data().eDescr = c.eDescr;
        FromDriver(c.Answer);
        Host.Run(20);
        EXPECT_TRUE(task->Executed());
        EXPECT_EQ(task->e(), c.e);
        EXPECT_THAT(task->eDescr(), testing::StartsWith(c.eDescr));
        EXPECT_FALSE(Adapter.Devices()->Item("5")->DefaultVar()->Valid());
    }
}

TEST_F(TasksTest, AnAnswerWithPartsMissingIsAFailure) {
    const struct {
        ErrorNumber DriverResult, e;
        std::string eDescr;
    } cases[] = {{errors::None, errors::General, "incomplete answer"}, {errors::BadFrame, errors::BadFrame, "bad"}};
    for (const auto& it : cases) {
        Connect();
        const auto record = Adapter.Devices()->Item("5")->DefaultVar();
        record->Valid(true);
        const auto task = Queue(Reading("5"));
        Driver->Answer(NextWork(), {kReply24}, [&](iOrvixTaskNB1& answer) {
            answer.ArrivalExpectedBytes(7);
            answer.e(it.DriverResult);
            answer.eDescr("bad");
        });
        Host.Run(20);
        EXPECT_TRUE(task->Executed());
        EXPECT_EQ(task->e(), it.e);
        EXPECT_EQ(task->eDescr(), it.eDescr);
        EXPECT_FALSE(record->Valid() || task->WaitingMultiPart());
    }
}

TEST_F(TasksTest, ATaskGetsNoAnswerToWhatItAsksForNoLonger) {
    Connect();
    Adapter.DeviceAdd("6", 106);
    const auto first = Queue(Reading("5"));
    first->DeviceOrigin(0);
    const auto equal = Queue(Reading("5"));
    equal->DeviceOrigin(0);  // asks for the same thing only since it is queued
    const auto changed = Queue(Reading("5"));
    changed->DeviceAddress("6");
    const auto otherOrigin = Queue(Reading("5"));
    Driver->Answer(NextWork(), {kReply24});
    Host.Run(10);
    EXPECT_TRUE(first->Executed());
    EXPECT_FALSE(changed->Executed() || otherOrigin->Executed());
    for (const auto& task : {equal, changed, otherOrigin}) {
        if (task->Executed()) continue;
        Host.Run(20);
        Driver->Answer(Driver->TakeWork().at(0), {kReply24});
        Host.Run(10);
        EXPECT_TRUE(task->Executed());
    }
    EXPECT_EQ(changed->DeviceAddress(), "6");
    EXPECT_TRUE(Adapter.Devices()->Item("6")->DefaultVar()->Valid());
}

TEST_F(TasksTest, PriorityGoesFirstButBehindAHeadInFlight) {
    TaskQueue queue;
    const auto task = [&](const std::string& id) {
        TaskRef made = Reading(id);
        made->ID(id);
        return made;
    };
    queue.AddFirst(task("a"));
    queue.AddFirst(task("b"));
    queue.Append(task("c"));
    queue.Head()->CmdSended(true);
    queue.AddFirst(task("d"));
    queue.AddFirst(task("e"));
    queue.Head()->CmdExecuted(true);
    queue.AddFirst(task("f"));
    EXPECT_THROW(queue.Append(queue.Head()), Error);
    std::string keys;
    queue.ForEach([&](const TaskRef& it) { keys += it->ID(); });
    EXPECT_EQ(keys, "fbedac");
}

TEST_F(TasksTest, WorkThatCannotBeReadOrSentEndsAtOnce) {
    Connect();
    const auto task = Queue(Reading("99"));
    Host.Run(10);
    EXPECT_TRUE(task->Executed());
    EXPECT_THAT(task->eDescr(), testing::StartsWith("There is no device at address 99"));
    EXPECT_EQ(Subscriber.Take().back(), "ERROR | " + task->eDescr());
    const auto empty = Host.Messaging.CreateSharedEntry();
    empty->Create("");
    EXPECT_FALSE(Adapter.NewWork(empty->Name(), 0));
    EXPECT_FALSE(Adapter.NewWork("nowhere", 1));
    EXPECT_TRUE(empty->WaitForCompletion(0) && !empty->Succeeded());
    EXPECT_THAT(empty->Data().eDescr, testing::EndsWith("(OrvixNimbo1Lib.cOrvixAdapterNB1.m_IPCSubscriber_NewWork)"));
}

TEST_F(TasksTest, LostConnectionFailsPendingTasks) {
    Adapter.PortAddress("com3");  // nothing is processed offline
    Connect();
    std::vector<std::shared_ptr<iOrvixTaskNB1>> tasks;
    for (const std::int32_t origin : {0, 1, 1}) {
        tasks.push_back(Queue(Reading("5")));
        tasks.back()->DeviceOrigin(origin);
    }
    const auto entry = Entry(*Reading("5"));
    Adapter.NewWork(entry->Name(), 0);
    Adapter.OnLine(false);
    Host.Run(10);
    for (const auto& task : tasks) {
        EXPECT_EQ(task->e(), errors::NotConnected);
        EXPECT_EQ(task->eDescr(), "The device is not connected");
        EXPECT_EQ(task->Executed(), task->DeviceOrigin() == 1);
    }
    EXPECT_EQ(entry->Data().e, errors::NotConnected);

    // The one that is left is done after the next connection; the others are neither sent nor published again.
    Adapter.OnLine(true);
    Host.Run(10);
    FromDriver("CONNECTED");
    Host.Run(10);
    Driver->Answer(NextWork(), {kReply24});
    Host.Run(50);
    EXPECT_EQ(tasks.front()->e(), errors::None);
    EXPECT_THAT(Driver->TakeWork(), IsEmpty());
    EXPECT_EQ(entry->Data().ResultList.size(), 1U);
}

// Whatever way a task comes in, it goes the same way; its host is told the same.
TEST_F(TasksTest, EveryWayInLeadsThrough) {
    Connect();
    Driver->Peer.Endpoint().SendProgress("driver at work", 1, 2, 3);
    Host.Run(0);
    EXPECT_THAT(Subscriber.Take(), ElementsAre("progress:driver at work:1:2:3"));
    const auto byMessage = Entry(*Reading("5"));
    const auto byKey = Entry(*Reading("5", ORVIXCNB1_VAR_SERIAL_NUMBER));
    const auto first = Entry(*Reading("5", ORVIXCNB1_VAR_TEMP_LOG));
    Subscriber.Endpoint().SendNewWork(byMessage->Name());
    Host.Run(0);
    Adapter.NewWork(byKey->Name(), 0);
    Adapter.NewWork(first->Name(), 1);
    const auto byObject = Entry(*Reading("5", ORVIXCNB1_VAR_TEMP_LOG));
    const std::shared_ptr<iOrvixTaskNB1> object = std::make_shared<cOrvixTaskNB1>(Host.Services);
    object->MemoryMapKey(byObject->Name());  // is read when it is the task's turn
    Queue(object);
    EXPECT_FALSE(Object.Busy());
    std::vector<std::string> sent;
    for (const SharedEntry* entry : {first.get(), byMessage.get(), byKey.get(), byObject.get()}) {
        const std::string key = NextWork();
        sent.push_back(Driver->Load(key)->Name() + " " + Hex(Driver->Load(key)->Cmd().ToText()));
        EXPECT_TRUE(Object.Busy());
        EXPECT_TRUE(Driver->Load(key)->CmdSended());
        Driver->Answer(key, {kReply24});
        Host.Run(10);
        EXPECT_TRUE(entry->Succeeded());
    }
    EXPECT_THAT(sent, ElementsAre("Reading Temp log Device 5 ", "Reading Temp Device 5 0B 00",
                                  "Reading Serial number Device 5 00 07", "Reading Temp log Device 5 "));
    EXPECT_FALSE(Object.Busy());
}

TEST_F(TasksTest, TheTraceTellsWhatIsDone) {
    Connect();
    const auto device = Adapter.Devices()->Item("5");
    device->MonitorVar(ORVIXCNB1_VAR_TEMPERATURE, 1, 0);
    device->Monitor(true);
    device->DefaultVar()->Monitored(true);
    Adapter.LogPath("/trace");
    Adapter.LogMode(1);
    Queue(Reading("99"));
    Host.Run(10);
    Adapter.MonitorVars(true);
    Host.Run(20);
    Driver->Answer(NextWork(), {kReply24});
    Host.Run(10);
    Adapter.OnLine(false);
    Host.Run(10);
    EXPECT_EQ(Host.Stores.FileContents["/trace/2026-11-22.log"],
              "Processing Reading Temp Device 99 of 1 ...\n"
              "OrvixNimbo1Lib.cOrvixAdapterNB1.ProcessNextTask - Err.Description=There is no device at address 99\n"
              "OrvixNimbo1Lib.cOrvixAdapterNB1.m_tmrComm_Tick Polling Var NB1/2x3/104/5/2 - Temp\n"
              "Processing (Polling) Reading Temp Device 5 of 1 ...\n"
              "Executed (Polling) Reading Temp Device 5 - Result success\n"
              "Comm 9 OFFLINE\n");
}

TEST_F(TasksTest, WorkThatCameInWhileOfflineEndsWithTheAdapter) {
    for (const bool released : {false, true}) {
        auto object = std::make_unique<cOrvixAdapterNB1>(AdaptersServices);
        iOrvixAdapter& adapter = *object;
        adapter.Init();
        const auto device = adapter.DeviceAdd("5", 106);
        const auto entry = Entry(*Reading("5"));
        adapter.NewWork(entry->Name(), 0);
        Subscriber.Endpoint().PeerName(adapter.ServerIPCName());
        if (!released) Subscriber.Endpoint().ClosePeer();
        if (released) object.reset();
        Host.Run(0);
        EXPECT_EQ(entry->Data().ResultList.size(), 1U);
        EXPECT_EQ(entry->Data().e, errors::NotConnected);
        EXPECT_EQ(device->Adapter(), nullptr);
    }
}

}  // namespace orvix::tests
