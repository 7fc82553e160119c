#include <atomic>
#include <thread>

#include "tests/adapter/adapter_fixture.h"

namespace orvix::tests {

/// Answers that are lost, late, doubled or somebody else's.
class AnswersTest : public AdapterTest {
protected:
    AnswersTest() { Connect(); }

    std::shared_ptr<iOrvixTaskNB1> Send(std::int32_t timeout = 60000) {
        const auto task = Reading("5");
        task->TimeoutInterval(timeout);
        Queue(task);
        Host.Run(10);
        m_Keys = Driver->TakeWork();
        return task;
    }
    /// The work item of the task sent last.
    std::string Key() { return m_Keys.at(0); }

    std::unique_ptr<SharedEntry> Open(const std::string& key) {
        auto entry = Host.Messaging.CreateSharedEntry();
        entry->Open(key);
        return entry;
    }

    void ExpectItsOwn(const std::shared_ptr<iOrvixTaskNB1>& task, const std::string& payload) {
        Driver->Answer(Key(), {payload});
        Host.Run(20);
        EXPECT_TRUE(task->Executed());
        EXPECT_EQ(task->e(), errors::None) << task->eDescr();
        EXPECT_EQ(task->RtnArgs(), VariantList{payload});
    }

    static std::string Busy() { return JoinFields({"TASKCOMPLETE", NumberText(errors::Busy), "busy"}); }
    static std::string Done() { return JoinFields({"TASKCOMPLETE", "0", ""}); }

private:
    std::vector<std::string> m_Keys;
};

TEST_F(AnswersTest, ALostOrLateAnswerCostsOneTaskOnly) {
    const auto lost = Send(50);
    const std::string lostKey = Key();
    Host.Run(100);
    EXPECT_EQ(lost->e(), errors::Validation);
    ExpectItsOwn(Send(), kReply24);
    ExpectItsOwn(Send(), kReply24);

    const auto late = Send(50);
    const std::string lateKey = Key();
    Host.Run(100);
    const auto next = Send();
    Driver->Answer(lateKey, {std::string("\x85\x2A\x00\x00", 4)});
    Driver->Send(Done());
    Host.Run(50);
    EXPECT_FALSE(next->Executed() || next->CmdExecuted());
    ExpectItsOwn(next, kReply24);
}

TEST_F(AnswersTest, AnswersOfNothingNeitherEndATaskNorHoldUpTheThread) {
    FromDriver(Done());
    FromDriver(Busy());
    const auto task = Send();
    const auto key = Key();
    for (const std::string& message : {Done(), JoinFields({"TASKCOMPLETE", "5", "foreign"}), Done()})
        FromDriver(message);
    // Somebody is writing into the entry.
    std::atomic<int> stage = 0;
    std::thread writer([&] {
        const auto entry = Open(key);
        entry->Lock();
        entry->Data().e = 0;
        stage = 1;
        while (stage == 1)
            std::this_thread::yield();
    });
    while (stage == 0)
        std::this_thread::yield();
    FromDriver(Done());
    stage = 2;
    writer.join();
    Host.Run(20);
    EXPECT_FALSE(task->CmdExecuted());
    ExpectItsOwn(task, kReply24);
    FromDriver(Done());  // once more
    ExpectItsOwn(Send(), kReply24);
}

TEST_F(AnswersTest, ABusyAnswerIsThatOfTheNewestItemThatIsNotAnswered) {
    Send(50);
    Host.Run(100);
    const auto refused = Send();
    FromDriver(Busy());
    Host.Run(20);
    EXPECT_THAT(refused->eDescr(), testing::StartsWith("busy"));
    const auto next = Send();
    Driver->Finish(Key(), {kReply24});
    FromDriver(Busy());  // of the one given up; the newest has its result already
    EXPECT_FALSE(next->CmdExecuted());
    FromDriver(Done());
    Host.Run(20);
    EXPECT_EQ(next->e(), errors::None);
    ExpectItsOwn(Send(), kReply24);
}

TEST_F(AnswersTest, AnErrorThatBeganOnTheOldLinkLeavesTheNewOneAlone) {
    const std::string error = JoinFields({"SOCKETERROR", "7", "old"});
    const auto task = Send();
    const std::string oldKey = Key();
    Adapter.OnLine(false);
    Host.Run(10);
    Adapter.OnLine(true);
    Host.Run(10);
    Forget();
    Driver->Send(error);
    Driver->Answer(oldKey, {});
    Host.Run(10);
    EXPECT_THAT(Subscriber.Take(), ElementsAre("Driver error 7 - old"));
    FromDriver("CONNECTED");
    Host.Run(10);
    ExpectItsOwn(Send(), kReply24);

    // With the old item answered, an error is one of this link.
    Adapter.OnLine(false);
    Host.Run(10);
    Adapter.OnLine(true);
    Host.Run(10);
    FromDriver(error);
    Host.Run(10);
    EXPECT_THAT(Driver->Peer.Take(), Contains(testing::HasSubstr("SOCKET ERROR ON DEVICE CONNECTION")));
}

}  // namespace orvix::tests
