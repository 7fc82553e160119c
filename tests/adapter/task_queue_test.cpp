#include "tests/adapter/adapter_fixture.h"

namespace orvix::tests {

class TaskQueueTest : public AdapterTest {
protected:
    TaskRef Task(const std::string& id, const std::string& address) {
        const TaskRef task = Reading(address);
        task->ID(id);
        return task;
    }
    std::string Order() {
        std::string order;
        Tasks.ForEach([&](iOrvixTaskNB1& task) { order += task.ID(); });
        return order;
    }
    TaskQueue Tasks;
};

TEST_F(TaskQueueTest, PriorityGoesFirstButBehindAHeadInFlight) {
    Tasks.AddFirst(Task("a", "1"));
    Tasks.AddFirst(Task("b", "2"));
    Tasks.Append(Task("c", "3"));
    EXPECT_EQ(Order(), "bac");
    Tasks.Head().Task->CmdSended(true);
    Tasks.AddFirst(Task("d", "4"));
    Tasks.AddFirst(Task("e", "5"));
    EXPECT_EQ(Order(), "bedac");
    Tasks.Head().Task->CmdExecuted(true);
    Tasks.AddFirst(Task("f", "6"));
    EXPECT_EQ(Order(), "fbedac");
    EXPECT_THROW(Tasks.Append(Task("e", "7")), Error);
    Tasks.Remove("b");
    Tasks.Remove("unknown");
    EXPECT_EQ(Order(), "fedac");
    EXPECT_EQ(Tasks.Count(), 5U);
}

TEST_F(TaskQueueTest, FindsTheFirstOpenTaskThatDoesTheSame) {
    const TaskRef probe = Task("p", "1");
    const TaskRef changing = Task("c", "9");
    for (const TaskRef& task : {Task("p", "1"), changing, Task("a", "1"), Task("b", "1")})
        Tasks.Append(task);
    EXPECT_EQ(Tasks.FindLinked(*probe)->ID(), "a");
    changing->DeviceAddress("1");
    Tasks.TagChanged("c");
    EXPECT_EQ(Tasks.FindLinked(*probe), changing);
    changing->Executed(true);
    EXPECT_EQ(Tasks.FindLinked(*probe)->ID(), "a");
    Tasks.Remove("a");
    Tasks.Remove("b");
    EXPECT_EQ(Tasks.FindLinked(*probe), nullptr);
    EXPECT_EQ(Tasks.FindLinked(*Task("x", "77")), nullptr);
}

}  // namespace orvix::tests
