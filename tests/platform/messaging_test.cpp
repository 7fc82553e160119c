#include <gtest/gtest.h>

#include <atomic>
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
    host.Endpoint().SendCustomMessage("CONNECT");
    host.Endpoint().SendNewWork("key");
    adapter.Endpoint().SendProgress("name", 20, 0, 100);
    EXPECT_EQ(adapter.Take(), Texts{}) << "delivered within the call";
    m_Host.Run(0);
    EXPECT_EQ(adapter.Take(), (Texts{"CONNECT", "work:key"}));
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
    channel->SendCustomMessage("while inactive");
    peer.Endpoint().Activate(false);
    m_Host.Run(0);
    EXPECT_EQ(peer.Take(), Texts{});
}

TEST_F(MessagingTest, ClosingAPeerAsksItAndTellsWhenItHasGone) {
    RecordingEndpoint asker(m_Host.Messaging, "asker", "driver");
    RecordingEndpoint driver(m_Other.Messaging, "driver", "asker");
    driver.RefuseDestroy = true;
    asker.Endpoint().ClosePeer();
    m_Host.Run(0);
    EXPECT_FALSE(asker.Endpoint().PeerIsClosing() || asker.ServerDestroyed) << "refused, and askable again";
    driver.RefuseDestroy = false;
    asker.Endpoint().ClosePeer();
    asker.Endpoint().SendCustomMessage("behind the question");
    m_Host.Run(0);
    EXPECT_TRUE(asker.ServerDestroyed);
    EXPECT_EQ(driver.Take(), Texts{});
}

TEST_F(MessagingTest, SharedEntriesLiveAsLongAsAHandle) {
    auto creator = m_Host.Messaging.CreateSharedEntry();
    creator->Create("");
    const std::string name = creator->Name();
    auto reader = m_Other.Messaging.CreateSharedEntry();
    reader->Create("");
    EXPECT_NE(reader->Name(), name) << "identifiers are unique across apartments";
    EXPECT_THROW(reader->Create(name), Error);
    reader->Open(name);

    creator->Lock();
    for (SharedEntry* handle : {creator.get(), reader.get()}) {
        EXPECT_THROW(handle->Lock(), Error) << "this thread would wait for itself";
        EXPECT_FALSE(handle->TryLock());
    }
    creator->Data().eDescr = "written";
    creator->Complete(true);
    creator.reset();  // a handle gives its lock back
    EXPECT_TRUE(reader->TryLock());
    EXPECT_EQ(reader->Data().eDescr, "written");
    reader->Unlock();
    EXPECT_TRUE(reader->Succeeded());
    reader->Create("another");
    auto timer = m_Other.Apartment.CreateTimer([&] { reader->Complete(false); });
    timer->Rearm(50, true);
    EXPECT_FALSE(reader->WaitForCompletion(20));
    EXPECT_TRUE(reader->WaitForCompletion(1000));
    EXPECT_FALSE(reader->Succeeded());
    EXPECT_EQ(m_World.Scheduler.Now(), 50ms) << "a wait delivers ticks, and ends with them";
    EXPECT_THROW(m_Host.Messaging.CreateSharedEntry()->Open(name), Error);
}

struct RealHost {
    explicit RealHost(platform::Directory& directory) : Messaging(directory, Apartment) {}
    platform::RealApartment Apartment;
    platform::ProcessMessaging Messaging;
};

TEST(MessagingAcrossThreads, AWaitEndsWhenAnotherThreadCompletesTheEntry) {
    platform::Directory directory;
    RealHost host(directory);
    auto entry = host.Messaging.CreateSharedEntry();
    entry->Create("entry");
    entry->Lock();
    std::atomic<bool> tried = false;
    std::thread thread([&] {
        RealHost other(directory);
        auto opened = other.Messaging.CreateSharedEntry();
        opened->Open("entry");
        EXPECT_FALSE(opened->TryLock());
        tried = true;
        opened->Lock();
        opened->Data().eDescr = "written";
        opened->Unlock();
        opened->Complete(true);
    });
    const Duration start = host.Apartment.Now();
    while (!tried)
        host.Apartment.Block(1ms);
    entry->Unlock();
    EXPECT_TRUE(entry->WaitForCompletion(60000));
    EXPECT_LT(host.Apartment.Now() - start, 30s);
    EXPECT_EQ(entry->Data().eDescr, "written");
    thread.join();
}

TEST(MessagingAcrossThreads, AnApartmentMayGoWhileOthersSendToIt) {
    platform::Directory directory;
    std::atomic<bool> stop = false;
    std::thread thread([&] {
        RealHost host(directory);
        RecordingEndpoint sender(host.Messaging, "sender", "target");
        while (!stop)
            sender.Endpoint().SendCustomMessage("message");
    });
    for (int i = 0; i < 100; ++i) {
        RealHost host(directory);
        RecordingEndpoint target(host.Messaging, "target", "sender");
        EXPECT_TRUE(host.Apartment.PumpUntil([&] { return !target.Take().empty(); }, 10s));
    }
    stop = true;
    thread.join();
}

}  // namespace
}  // namespace orvix::tests
