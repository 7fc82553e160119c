#include <utility>
#include <vector>

#include "tests/end_to_end/end_to_end_fixture.h"

// Orders of events beyond the usual one, with the driver in either place.

using namespace std::chrono_literals;

namespace orvix::tests {
namespace {

using testing::HasSubstr;

class Order : public EndToEnd {
protected:
    /// Online, with a reading of sensor 5 in.
    void Connect() {
        Side->Adapter.OnLine(true);
        ExpectGoodReading("5", 21.5F);
        Side->Subscriber.Take();
    }

    void ExpectLate(std::int16_t address, float temperature) {
        Line.Expect(Hex(BuildFrame(address, kTemperatureCommand, {})),
                    {{BuildFrame(address, kTemperatureCommand, RealToBytes(temperature)), 40ms}});
    }

    bool Await(const iOrvixTaskNB1& task) {
        return World.Scheduler.RunUntil([&] { return task.Executed(); }, 1min);
    }

    /// Does something at once, or in a message to the host behind so many others, one to the driver between each.
    void AfterHops(int hops, const std::function<void()>& act) {
        if (hops == 0) return act();
        Host.Apartment.Post([=, this] {
            if (hops == 1) return act();
            DriverHost.Apartment.Post([=, this] { AfterHops(hops - 1, act); });
        });
    }

    void NewTask(const std::shared_ptr<iOrvixTaskNB1>& task) {
        static_cast<iOrvixDevToAdapt&>(Side->Object).NewTask(task, 0);
    }
};

INSTANTIATE_TEST_SUITE_P(Driver, Order, testing::ValuesIn(kEveryPlacement), NameOfPlacement);

TEST_P(Order, ATaskThatIsStillQueuedIsRefusedASecondTimeAndAfterwardsTaken) {
    Connect();
    const auto task = Side->Task("5");
    task->e(0);
    NewTask(task);
    EXPECT_NE(ErrorOf([&] { NewTask(task); }).Number, errors::None);
    ErrorNumber whileItEnds = errors::None;
    Side->Temperature("5")->OnValid([&](VariableRecord&) { whileItEnds = ErrorOf([&] { NewTask(task); }).Number; });
    Expect(5, 22);
    EXPECT_TRUE(Await(*task));
    EXPECT_NE(whileItEnds, errors::None);
    Side->Temperature("5")->OnValid(nullptr);
    NewTask(task);
    EXPECT_FALSE(task->Executed());
    Expect(5, 23);
    EXPECT_TRUE(Await(*task));
    EXPECT_EQ(task->e(), errors::None);
    EXPECT_EQ(task->RtnArgs(), VariantList{RealToBytes(23)});
}

// On the host's thread the exchange holds up the time-out, so that the driver's own result comes first.
TEST_P(Order, AReadingThatTimesOutMakesItsRecordInvalidAndTells) {
    Connect();
    std::vector<bool> told;
    Side->Temperature("5")->OnValid([&](VariableRecord& record) { told.push_back(record.Valid()); });
    Line.Expect(Hex(BuildFrame(5, kTemperatureCommand, {})), {});
    const auto entry = Side->Read("5", 100, 200);
    ExpectFailure(*entry, "No answer in time");
    EXPECT_EQ(entry->Data().e, errors::Validation);
    EXPECT_FALSE(Side->Temperature("5")->Valid());
    EXPECT_EQ(told, std::vector<bool>{false});
    Side->Temperature("5")->OnValid(nullptr);
    ExpectGoodReading("5", 22);
}

// Be it another device's task or a twin, for which the answer that is being told would do.
TEST_P(Order, WaitingInANotificationCostsNoOtherTaskItsAnswer) {
    Connect();
    for (const char* address : {"6", "5"}) {
        SCOPED_TRACE(address);
        Expect(5, 22);
        ExpectLate(Variant(address).ToInteger(), 23);
        std::unique_ptr<SharedEntry> nested;
        bool waited = false;
        Side->Temperature("5")->OnValid([&](VariableRecord& record) {
            if (!record.Valid() || std::exchange(waited, true)) return;
            nested = Side->Read(address);
            Host.Run(10);  // it has been sent now, and its answer is still to come
        });
        const auto entry = Side->Read("5");
        ASSERT_TRUE(EndToEnd::Await(*entry) && nested && EndToEnd::Await(*nested));
        Host.Run(100);
        for (const auto& it : {entry.get(), nested.get()}) {
            EXPECT_TRUE(it->Succeeded()) << it->Data().eDescr;
            EXPECT_EQ(it->Data().ResultList.size(), 1U);
        }
        EXPECT_TRUE(Line.AllMet());
        Side->Temperature("5")->OnValid(nullptr);
    }
    EXPECT_EQ(Side->Temperature("6")->Value().ToSingle(), 23);
}

TEST_P(Order, WorkInAnEntryThatTheCallersThreadHasLockedEndsAtOnceAndSaysWhy) {
    Connect();
    const auto entry = EntryWith(Host.Messaging, Side->Task("5")->GetSuperState());
    entry->Lock();
    Side->Adapter.NewWork(entry->Name(), 0);
    ASSERT_TRUE(entry->WaitForCompletion(0));
    EXPECT_FALSE(entry->Succeeded());
    EXPECT_EQ(entry->Data().e, errors::General);
    EXPECT_THAT(entry->Data().eDescr, HasSubstr("is locked by this very thread"));
    cOrvixTaskNB1 object(Host.Services);
    iOrvixTaskNB1& task = object;
    task.SetSuperState(entry->Data().ResultList.at(0));
    EXPECT_EQ(task.ID(), "XX");
    entry->Unlock();
    ExpectGoodReading("5", 22);
}

// What a host does in a notification, while the destroy question is on its way.
TEST_P(Order, TheAdapterMayBeDestroyedInsideANotification) {
    const std::pair<const char*, std::function<void(SharedEntry&)>> cases[] = {
        {"waits", [](SharedEntry& other) { other.WaitForCompletion(1000); }},
        {"writes", [this](SharedEntry&) { Side->Adapter.NetRetry(1); }},
        {"asks again and again", [this](SharedEntry&) { Side->Subscriber.ClosePeer(Host, 5s); }},
    };
    for (const auto& [name, act] : cases) {
        for (const bool valid : {false, true}) {
            SCOPED_TRACE(testing::Message() << name << " on " << valid);
            Side.reset();
            Side.emplace(Host.Services, "HOST", CreateDriver());
            Connect();
            Expect(5, 22);
            std::unique_ptr<SharedEntry> other;
            const auto entry = Side->Read("5");
            bool acted = false;
            const auto record = Side->Temperature("5");
            record->OnValid([&, act = act](VariableRecord& it) {
                if (it.Valid() != valid || std::exchange(acted, true)) return;
                Side->Subscriber.Endpoint().ClosePeer();
                other = Side->Read("6");
                act(*other);
            });
            ASSERT_TRUE(EndToEnd::Await(*entry));
            EXPECT_TRUE(acted && EndToEnd::Await(*other));
            EXPECT_EQ(other->Data().e, errors::NotConnected);
            for (const auto& it : {entry.get(), other.get()})
                EXPECT_EQ(it->Data().ResultList.size(), 1U);
            EXPECT_TRUE(!valid || entry->Succeeded()) << entry->Data().eDescr;
            EXPECT_TRUE(Side->Subscriber.ServerDestroyed || Side->Subscriber.ClosePeer(Host, 10s));
            record->OnValid(nullptr);
        }
    }
}

// Init waits a dozen times for a driver in another apartment.
TEST_P(Order, InitMayMeetTheDestroyQuestionOrItself) {
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"another Init", [this] { Side->Adapter.Init(); }},
        {"the destroy question", [this] { Side->Subscriber.Endpoint().ClosePeer(); }},
    };
    for (const auto& [name, act] : cases) {
        for (int hops = 0; hops < 15; ++hops) {
            SCOPED_TRACE(testing::Message() << name << " after " << hops);
            Side.reset();
            Side.emplace(Host.Services, "HOST", CreateDriver());
            Connect();
            const auto queued = Side->Read("5");
            const auto behind = Side->Read("6");
            Host.Run(hops % 2 == 0 ? 10 : 0);
            AfterHops(hops, act);
            Side->Adapter.Init();
            World.Scheduler.RunFor(0ms);
            for (const auto& entry : {queued.get(), behind.get()}) {
                EXPECT_TRUE(entry->WaitForCompletion(0));
                EXPECT_EQ(entry->Data().ResultList.size(), 1U);
            }
            EXPECT_EQ(behind->Data().e, errors::NotConnected);
            if (Side->Adapter.Devices()) ExpectGoodReading("5", 22);
            EXPECT_TRUE(Side->Subscriber.ServerDestroyed || Side->Subscriber.ClosePeer(Host, 10s));
            EXPECT_EQ(Side->Adapter.Devices(), nullptr);
        }
    }
}

TEST_P(Order, EveryTaskEndsWithTheDestroyRequestOfWhateverOrigin) {
    Connect();
    std::vector<std::shared_ptr<iOrvixTaskNB1>> tasks;
    for (const std::int32_t origin : {0, 1, 2, 7}) {
        tasks.push_back(Side->Task("5"));
        tasks.back()->DeviceOrigin(origin);
        NewTask(tasks.back());
    }
    EXPECT_TRUE(Side->Subscriber.ClosePeer(Host, 10s));
    for (const auto& task : tasks) {
        EXPECT_TRUE(task->Executed());
        EXPECT_NE(task->e(), errors::None);
    }
}

TEST_P(Order, WithoutADriverTheHostHearsOfItOnce) {
    Side.reset();
    Side.emplace(Host.Services, "HOST", nullptr);
    Side->Adapter.DebugMode(true);
    Side->Adapter.OnLine(true);
    Host.Run(10000);
    const auto said = Side->Subscriber.Take();
    EXPECT_EQ(std::count_if(said.begin(), said.end(), [](const auto& it) { return it.starts_with("ERROR"); }), 1);
    EXPECT_LT(said.size(), 4U);
}

}  // namespace
}  // namespace orvix::tests
