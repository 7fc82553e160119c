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

TEST_F(TasksTest, ReadingRunsFromQueueToRecord) {
    Connect();
    const auto task = Queue(Reading("5"));
    Host.Run(10);
    const auto received = Driver->Peer.Take();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0], "DEBUGINFO | Processing Reading Temp Device 5 of 1 ... | True | PROCESS NEW TASK");
    const std::string key = received[1].substr(5);
    const auto sent = Driver->Load(key);
    EXPECT_EQ(sent->ID(), task->ID());
    EXPECT_EQ(sent->Cmd().ToText(), std::string("\x0B\x00", 2));
    EXPECT_TRUE(sent->CmdSended());
    EXPECT_EQ(sent->NetTimeoutInterval(), 10);
    EXPECT_EQ(sent->TimeoutInterval(), 4 * (5 * 10 + 300) + 500);
    Driver->Answer(key, {kReply24});
    Host.Run(10);
    EXPECT_THAT(Driver->Peer.Take(),
                ElementsAre("DEBUGINFO | Executed Reading Temp Device 5 - Result success | True | "));
    const auto toHost = Subscriber.Take();
    EXPECT_THAT(toHost, Contains("progress:Reading Temp Device 5:20:0:100"));
    EXPECT_EQ(toHost.back(), "progress:Reading Temp Device 5:100:0:100");
    EXPECT_TRUE(task->Executed());
    EXPECT_EQ(Adapter.Devices()->Item("5")->DefaultVar()->Value().ToDouble(), 24.0);
}

TEST_F(TasksTest, EqualRequestsAreAnsweredOnce) {
    Connect();
    const auto first = Queue(Reading("5"));
    const auto entry = Entry(*Reading("5"));
    EXPECT_FALSE(Adapter.NewWork(entry->Name(), 0));
    Driver->Answer(NextWork(), {kReply24});
    Host.Run(10);
    EXPECT_TRUE(entry->Succeeded());
    EXPECT_TRUE(first->Executed());
    Host.Run(30);
    EXPECT_THAT(Driver->TakeWork(), IsEmpty());
    EXPECT_EQ(Subscriber.Take().back(), "progress:Reading Temp Device 5:100:0:100");
    EXPECT_EQ(entry->Data().ResultList.size(), 1U) << "published once";
    EXPECT_FALSE(Object.Busy());
}

TEST_F(TasksTest, LateAnswerNeverReachesAnotherTask) {
    Connect();
    Adapter.NetRetry(0);
    Queue(Reading("5"));
    const std::string late = NextWork();
    Host.Run(900);
    EXPECT_FALSE(Adapter.Devices()->Item("5")->DefaultVar()->Valid());
    const auto second = Queue(Reading("5", ORVIXCNB1_VAR_SERIAL_NUMBER));
    const std::string key = NextWork();
    Driver->Answer(late, {kReply24});
    Host.Run(20);
    EXPECT_FALSE(second->CmdExecuted());
    Driver->Answer(key, {"SERIAL"});
    Host.Run(20);
    EXPECT_EQ(Adapter.Devices()->Item("5")->SerialNumber(), "SERIAL");
    EXPECT_FALSE(Object.Busy());
}

TEST_F(TasksTest, AnswersThatAreNoReading) {
    struct Case {
        std::string Answer;
        std::vector<ByteArray> Result;
        ErrorNumber e;
        std::string eDescr;
    };
    // The device reports a failed exchange with its own number.
    const Case cases[] = {
        {JoinFields({"TASKCOMPLETE", "-2147215986", "busy"}), {}, errors::Validation, "busy"},
        {JoinFields({"TASKCOMPLETE", "x", "no number"}), {}, errors::MissingItem, ""},
        {JoinFields({"TASKCOMPLETE", "0", ""}), {{1, 2, 3}}, errors::Validation, ""},
        {JoinFields({"TASKCOMPLETE", "0", ""}), {Reading("5")->GetSuperState()}, errors::Validation, ""},
    };
    for (const Case& c : cases) {
        Connect();
        const auto task = Queue(Reading("5"));
        const auto request = Host.Messaging.CreateSharedEntry();
        request->Open(NextWork());
        request->Data().ResultList = c.Result;
        FromDriver(c.Answer);
        Host.Run(10);
        EXPECT_TRUE(task->Executed());
        EXPECT_EQ(task->e(), c.e);
        EXPECT_THAT(task->eDescr(), testing::StartsWith(c.eDescr));
        EXPECT_FALSE(Adapter.Devices()->Item("5")->DefaultVar()->Valid());
    }
}

TEST_F(TasksTest, PriorityGoesFirstButBehindAHeadInFlight) {
    TaskQueue queue;
    const auto task = [&](const std::string& id) {
        TaskRef made = Reading(id);
        made->ID(id);
        return made;
    };
    const auto order = [&] {
        std::string keys;
        queue.ForEach([&](const TaskQueue::Entry& entry) { keys += entry.Key; });
        return keys;
    };
    queue.AddFirst(task("a"));
    queue.AddFirst(task("b"));
    queue.Append(task("c"));
    EXPECT_EQ(order(), "bac");
    queue.Head().Task->CmdSended(true);
    queue.AddFirst(task("d"));
    queue.AddFirst(task("e"));
    EXPECT_EQ(order(), "bedac");
    queue.Head().Task->CmdExecuted(true);
    queue.AddFirst(task("f"));
    EXPECT_THROW(queue.Append(task("e")), Error);
    queue.Remove("b");
    queue.Remove("unknown");
    EXPECT_EQ(order(), "fedac");
}

TEST_F(TasksTest, TasksThatCannotBeSent) {
    struct Case {
        std::string Address;
        ORVIXCNB1_VARS Variable;
        ErrorNumber e;
        std::string Start;
    };
    const Case cases[] = {
        {"99", ORVIXCNB1_VAR_TEMPERATURE, errors::MissingItem, "There is no device at address 99"},
        {"5", ORVIXCNB1_VAR_INPUTBYTE, errors::General, "undefined VarID ("},
    };
    for (const Case& c : cases) {
        Connect();
        const auto task = Queue(Reading(c.Address, c.Variable));
        Host.Run(10);
        EXPECT_TRUE(task->Executed());
        EXPECT_EQ(task->e(), c.e);
        EXPECT_THAT(task->eDescr(), testing::StartsWith(c.Start));
        EXPECT_EQ(Subscriber.Take().back(), "ERROR | " + task->eDescr());
        EXPECT_FALSE(Object.Busy());
    }
}

TEST_F(TasksTest, WorkThatCannotBeReadEndsAtOnce) {
    Connect();
    const auto empty = Host.Messaging.CreateSharedEntry();
    empty->Create("");
    EXPECT_FALSE(Adapter.NewWork(empty->Name(), 0));
    EXPECT_FALSE(Adapter.NewWork("nowhere", 1));
    EXPECT_TRUE(empty->WaitForCompletion(0));
    EXPECT_FALSE(empty->Succeeded());
    EXPECT_EQ(empty->Data().e, errors::General);
    EXPECT_THAT(empty->Data().eDescr, testing::EndsWith("(OrvixNimbo1Lib.cOrvixAdapterNB1.m_IPCSubscriber_NewWork)"));
    Host.Run(10);
    EXPECT_FALSE(Object.Busy());
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
        EXPECT_NE(task->eDescr(), "");
        EXPECT_EQ(task->Executed(), task->DeviceOrigin() == 1);
    }
    EXPECT_EQ(entry->Data().e, errors::NotConnected);
    EXPECT_TRUE(Object.Busy());

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
    EXPECT_FALSE(Object.Busy());
}

}  // namespace orvix::tests
