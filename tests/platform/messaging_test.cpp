#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "platform/real_apartment.h"
#include "tests/support/test_host.h"

using namespace std::chrono_literals;

namespace orvix::tests {
namespace {

using Texts = std::vector<std::string>;

class MessagingTest : public testing::Test {
protected:
    World m_World;
    TestHost m_Host{m_World, 1};
    TestHost m_Other{m_World, 2};
};

TEST_F(MessagingTest, SendsArePostedToWhoBearsThePeersName) {
    RecordingEndpoint host(m_Host.Messaging, "host", "adapter");
    RecordingEndpoint adapter(m_Other.Messaging, "adapter", "host");
    host.Endpoint().SendCustomMessage(
        "CONNECT\x1F"
        "1");
    host.Endpoint().SendNewWork("key");
    adapter.Endpoint().SendProgress("name", 20, 0, 100);
    EXPECT_EQ(adapter.Take(), Texts{}) << "delivered within the call";
    m_Host.Run(0);
    EXPECT_EQ(adapter.Take(), (Texts{"CONNECT | 1", "work:key"}));
    EXPECT_EQ(host.Take(), Texts{"progress:name:20:0:100"});

    adapter.Endpoint().Name("renamed");
    host.Endpoint().SendCustomMessage("to the old name");
    host.Endpoint().PeerName("renamed");
    host.Endpoint().SendCustomMessage("to the new name");
    m_Host.Run(0);
    EXPECT_EQ(adapter.Take(), Texts{"to the new name"});
}

TEST_F(MessagingTest, WhatCannotBeDeliveredIsDroppedOrRaised) {
    RecordingEndpoint peer(m_Host.Messaging, "peer", "");
    auto channel = m_Other.Messaging.CreateChannel();
    EXPECT_THROW(channel->Activate(true), Error) << "no name";
    channel->Name("peer");
    EXPECT_THROW(channel->Activate(true), Error) << "name taken";
    channel->Name("own");
    channel->PeerName("nobody");
    channel->Activate(true);
    EXPECT_NO_THROW(channel->SendCustomMessage("lost"));
    channel->ActivateReporting(true);
    EXPECT_THROW(channel->SendCustomMessage("lost"), Error);

    channel->PeerName("peer");
    channel->SendCustomMessage("while delivery is off");
    peer.Endpoint().DeliverEvents(false);
    m_Host.Run(0);
    peer.Endpoint().DeliverEvents(true);
    channel->SendCustomMessage("while inactive");
    peer.Endpoint().Activate(false);
    m_Host.Run(0);
    EXPECT_EQ(peer.Take(), Texts{});
}

TEST_F(MessagingTest, AHandlerMayReleaseItsChannel) {
    auto channel = m_Host.Messaging.CreateChannel();
    int received = 0;
    ChannelEvents events;
    events.CustomMessage = [&](const std::string&, bool&) {
        channel.reset();
        ++received;
    };
    channel->Events(std::move(events));
    channel->DeliverEvents(true);
    channel->Name("short-lived");
    channel->Activate(true);
    RecordingEndpoint sender(m_Other.Messaging, "sender", "short-lived");
    sender.Endpoint().SendCustomMessage("one");
    sender.Endpoint().SendCustomMessage("two");
    sender.Endpoint().ClosePeer();
    m_Host.Run(0);
    EXPECT_EQ(received, 1);
    EXPECT_TRUE(sender.ServerDestroyed) << "the peer went before it could answer";
}

TEST_F(MessagingTest, ClosingAPeerAsksItAndTellsWhenItHasGone) {
    RecordingEndpoint asker(m_Host.Messaging, "asker", "driver");
    RecordingEndpoint driver(m_Other.Messaging, "driver", "asker");
    EXPECT_FALSE(asker.Endpoint().PeerIsClosing());
    for (const bool takesEvents : {true, false}) {
        driver.RefuseDestroy = takesEvents;
        driver.Endpoint().DeliverEvents(takesEvents);
        asker.Endpoint().ClosePeer();
        EXPECT_TRUE(asker.Endpoint().PeerIsClosing());
        m_Host.Run(0);
        EXPECT_FALSE(asker.Endpoint().PeerIsClosing()) << "a refusal makes the peer askable again";
        EXPECT_FALSE(asker.ServerDestroyed);
    }

    driver.Endpoint().DeliverEvents(true);
    asker.Endpoint().ClosePeer();
    asker.Endpoint().SendCustomMessage("behind the question");
    m_Host.Run(0);
    EXPECT_TRUE(asker.ServerDestroyed);
    EXPECT_TRUE(asker.Endpoint().PeerIsClosing());
    EXPECT_EQ(driver.Take(), Texts{});

    RecordingEndpoint second(m_Host.Messaging, "second", "driver");
    second.Endpoint().ClosePeer();
    m_Host.Run(0);
    EXPECT_TRUE(second.ServerDestroyed) << "the peer was gone already";
}

TEST_F(MessagingTest, SharedEntriesLiveAsLongAsAHandle) {
    auto creator = m_Host.Messaging.CreateSharedEntry();
    EXPECT_THROW(creator->Data(), Error);
    creator->Create("");
    const std::string name = creator->Name();
    auto reader = m_Other.Messaging.CreateSharedEntry();
    reader->Create("");
    EXPECT_NE(reader->Name(), name) << "identifiers are unique across apartments";
    EXPECT_THROW(reader->Create(name), Error);
    reader->Open(name);

    creator->Lock();
    EXPECT_THROW(creator->Lock(), Error);
    creator->Data().eDescr = "written";
    creator->Complete(true);
    creator.reset();  // a handle gives its lock back
    reader->Lock();
    EXPECT_EQ(reader->Data().eDescr, "written");
    reader->Unlock();
    EXPECT_TRUE(reader->Succeeded());
    reader->Create("another");
    EXPECT_FALSE(reader->WaitForCompletion(20));
    auto timer = m_Other.Apartment.CreateTimer([&] { reader->Complete(false); });
    timer->Rearm(50, true);
    EXPECT_TRUE(reader->WaitForCompletion(1000));
    EXPECT_FALSE(reader->Succeeded());
    EXPECT_EQ(m_World.Scheduler.Now(), 70ms) << "a wait delivers ticks, and ends with them";
    EXPECT_THROW(m_Host.Messaging.CreateSharedEntry()->Open(name), Error);
}

TEST_F(MessagingTest, TheTrackerKnowsWhoseAnswerHasCome) {
    RecordingEndpoint server(m_Other.Messaging, "server", "");
    auto tracker = m_Host.Messaging.CreateCallTracker();
    tracker->Start("tracker", "nobody");
    EXPECT_THROW(tracker->ExecuteAsync(), Error);
    tracker->Start("tracker", "server");

    const auto send = [&](std::uint8_t argument) {
        tracker->Arguments() = {{argument}};
        tracker->ExecuteAsync();
    };
    /// Answers as the server would: what has been handed over, and one more byte.
    const auto answer = [&](const std::string& work) {
        auto entry = m_Other.Messaging.CreateSharedEntry();
        entry->Open(work.substr(work.find(':') + 1));
        EXPECT_TRUE(entry->HandedOver());
        entry->Data().ResultList = std::exchange(entry->Data().ArgumentList, {});
        entry->Data().ResultList.push_back({99});
    };

    send(1);
    tracker->GiveUp();
    send(2);
    send(3);
    m_Host.Run(0);
    const auto work = server.Take();
    ASSERT_EQ(work.size(), 3u);
    EXPECT_TRUE(tracker->Completed(true)) << "busy belongs to the newest";
    EXPECT_TRUE(tracker->Results().empty());
    send(4);
    m_Host.Run(0);
    answer(work[0]);
    EXPECT_FALSE(tracker->Completed(false)) << "1 was given up";
    EXPECT_FALSE(tracker->Completed(false)) << "2 was replaced";
    answer(server.Take().at(0));
    EXPECT_TRUE(tracker->Completed(false));
    EXPECT_EQ(tracker->Results(), (std::vector<ByteArray>{{4}, {99}}));
    EXPECT_FALSE(tracker->Completed(false)) << "nothing is unanswered";
}

class FiredLinks : public IPlexaLinkTimer {
public:
    Texts Fired;
    std::unique_ptr<LinkTimer> Timer;

private:
    void IPlexaLinkTimer_FireTimer(const std::string& strTimerLink, std::int32_t) override {
        Fired.push_back(strTimerLink);
        if (strTimerLink == "last") Timer.reset();
    }
};

TEST_F(MessagingTest, LinkTimersFireOnceAndNeverAfterTheirEnd) {
    FiredLinks target;
    target.Timer = m_Host.Messaging.CreateLinkTimer();
    for (const auto& [tag, delay] : {std::pair("last", 20), {"never", 30}, {"later", 10}, {"now", 0}})
        target.Timer->Schedule(target, tag, delay);
    EXPECT_EQ(target.Fired, Texts{});
    m_Host.Run(100);
    EXPECT_EQ(target.Fired, (Texts{"now", "later", "last"}));

    target.Timer = m_Host.Messaging.CreateLinkTimer();
    target.Timer->Schedule(target, "dropped", 0);
    target.Timer.reset();
    m_Host.Run(0);
    EXPECT_EQ(target.Fired.size(), 3u);
}

TEST(MessagingAcrossThreads, WaitsEndWhenAnotherThreadCompletesTheEntry) {
    platform::Directory directory;
    std::promise<platform::RealApartment*> ready;
    std::thread thread([&] {
        platform::RealApartment apartment;
        platform::ProcessMessaging messaging(directory, apartment);
        auto channel = messaging.CreateChannel();
        ChannelEvents events;
        events.NewWork = [&](const std::string& key, bool&) {
            auto entry = messaging.CreateSharedEntry();
            entry->Open(key);
            entry->Lock();
            entry->Data().ResultList = entry->Data().ArgumentList;
            entry->Unlock();
            entry->Complete(true);
        };
        channel->Events(std::move(events));
        channel->DeliverEvents(true);
        channel->Name("server");
        channel->Activate(true);
        ready.set_value(&apartment);
        apartment.Run();
    });
    platform::RealApartment* server = ready.get_future().get();
    platform::RealApartment apartment;
    platform::ProcessMessaging messaging(directory, apartment);
    RecordingEndpoint client(messaging, "client", "server");
    for (std::uint8_t i = 0; i < 100; ++i) {
        auto entry = messaging.CreateSharedEntry();
        entry->Create("");
        entry->Data().ArgumentList = {{i}};
        client.Endpoint().SendNewWork(entry->Name());
        ASSERT_TRUE(entry->WaitForCompletion(10000));
        entry->Lock();
        EXPECT_EQ(entry->Data().ResultList, (std::vector<ByteArray>{{i}}));
    }
    server->Quit();
    thread.join();
    client.Endpoint().ClosePeer();
    EXPECT_TRUE(apartment.PumpUntil([&] { return client.ServerDestroyed; }, 10s));
}

TEST(MessagingAcrossThreads, AnApartmentMayGoWhileOthersSendToIt) {
    platform::Directory directory;
    std::atomic<bool> stop = false;
    std::thread thread([&] {
        platform::RealApartment apartment;
        platform::ProcessMessaging messaging(directory, apartment);
        RecordingEndpoint sender(messaging, "sender", "target");
        while (!stop)
            sender.Endpoint().SendCustomMessage("message");
    });
    for (int i = 0; i < 100; ++i) {
        platform::RealApartment apartment;
        platform::ProcessMessaging messaging(directory, apartment);
        RecordingEndpoint target(messaging, "target", "sender");
        EXPECT_TRUE(apartment.PumpUntil([&] { return !target.Take().empty(); }, 10s));
    }
    stop = true;
    thread.join();
}

}  // namespace
}  // namespace orvix::tests
