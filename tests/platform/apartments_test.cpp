#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/real_apartment.h"
#include "platform/virtual_apartment.h"

using namespace std::chrono_literals;

namespace orvix::platform {
namespace {

class VirtualTime : public testing::Test {
protected:
    /// A timer whose ticks are written down as its name and the virtual millisecond.
    std::unique_ptr<Timer> Ticking(Apartment& apartment, const std::string& name) {
        return apartment.CreateTimer([this, name] { Note(name); });
    }
    void Note(const std::string& event) { m_Events.push_back(event + std::to_string(m_Scheduler.Now() / 1ms)); }
    std::vector<std::string> Take() { return std::exchange(m_Events, {}); }

    VirtualScheduler m_Scheduler{Date{46348.5}};
    VirtualApartment m_Apartment{m_Scheduler, 7};
    std::vector<std::string> m_Events;
};

using Texts = std::vector<std::string>;

TEST_F(VirtualTime, MessagesGoBeforeTicksDueAtTheSameMoment) {
    VirtualApartment other(m_Scheduler);
    auto first = Ticking(m_Apartment, "first@");
    auto second = Ticking(other, "second@");
    auto poster = m_Apartment.CreateTimer([this] { m_Apartment.Post([this] { Note("message@"); }); });
    poster->Rearm(10, true);
    first->Rearm(10, true);
    second->Rearm(10, true);
    m_Scheduler.RunFor(10ms);
    EXPECT_EQ(Take(), (Texts{"message@10", "first@10", "second@10"}));
}

TEST_F(VirtualTime, TimersKeepTheirPaceAndTickOnceAfterABlock) {
    auto timer = Ticking(m_Apartment, "tick@");
    timer->Rearm(10, true);
    m_Apartment.Post([this] { m_Apartment.Block(35ms); });
    m_Scheduler.RunFor(50ms);
    EXPECT_EQ(Take(), (Texts{"tick@35", "tick@40", "tick@50"}));

    timer->Rearm(0, true);
    m_Scheduler.RunFor(2ms);
    EXPECT_EQ(Take(), (Texts{"tick@51", "tick@52"}));
    timer->Enabled(false);
    m_Scheduler.RunFor(1h);
    EXPECT_EQ(Take(), Texts{});
    EXPECT_DOUBLE_EQ(m_Scheduler.DateNow().Days, 46348.5 + 3600.052 / 86400);
}

TEST_F(VirtualTime, ABlockHoldsUpTheApartmentsOfItsThreadOnly) {
    VirtualApartment sameThread(m_Scheduler, 7);
    VirtualApartment other(m_Scheduler, 8);
    auto held = Ticking(sameThread, "held@");
    auto free = Ticking(other, "free@");
    held->Rearm(10, true);
    free->Rearm(10, true);
    m_Apartment.Post([&] {
        sameThread.Post([this] { Note("held message@"); });
        other.Post([this] { Note("free message@"); });
        m_Apartment.Block(25ms);
        Note("back@");
    });
    m_Scheduler.RunFor(30ms);
    EXPECT_EQ(Take(), (Texts{"free message@0", "free@10", "free@20", "back@25", "held message@25", "held@25", "free@30",
                             "held@30"}));
}

TEST_F(VirtualTime, ATickMayRearmStopOrDestroyItsTimer) {
    std::unique_ptr<Timer> rearmed, destroyed;
    rearmed = m_Apartment.CreateTimer([&] {
        Note("rearmed@");
        rearmed->Rearm(30, m_Scheduler.Now() < 40ms);
    });
    destroyed = m_Apartment.CreateTimer([&, note = std::string("destroyed@")] {
        destroyed.reset();
        Note(note);
    });
    rearmed->Rearm(10, true);
    destroyed->Rearm(10, true);
    m_Scheduler.RunFor(100ms);
    EXPECT_EQ(Take(), (Texts{"rearmed@10", "destroyed@10", "rearmed@40"}));
}

TEST_F(VirtualTime, ExpiredTellsWhetherTheIntervalHasRunOut) {
    auto timer = m_Apartment.CreateTimer(nullptr);
    EXPECT_FALSE(timer->Expired());
    timer->Rearm(3000, true);
    m_Scheduler.RunFor(2999ms);
    EXPECT_FALSE(timer->Expired());
    m_Scheduler.RunFor(1ms);
    EXPECT_TRUE(timer->Expired());
    for (const bool enabled : {false, true}) {
        timer->Enabled(enabled);
        EXPECT_FALSE(timer->Expired());
    }
}

TEST_F(VirtualTime, PumpingStopsWhenDoneOrWhenTheLimitIsOver) {
    auto timer = Ticking(m_Apartment, "tick@");
    timer->Rearm(10, true);
    VirtualApartment(m_Scheduler).Post([this] { Note("of an apartment that is gone@"); });
    EXPECT_TRUE(m_Apartment.PumpUntil([this] { return m_Events.size() == 2; }, 1h));
    EXPECT_EQ(Take(), (Texts{"tick@10", "tick@20"}));
    EXPECT_FALSE(m_Apartment.PumpUntil([] { return false; }, 5ms));
    EXPECT_EQ(m_Scheduler.Now(), 25ms);
}

TEST(RealApartment, DeliversInOrderWhatOtherThreadsPostUntilQuit) {
    RealApartment apartment;
    std::vector<int> received;
    std::thread poster([&] {
        for (int i = 0; i < 1000; ++i)
            apartment.Post([&, i] { received.push_back(i); });
        apartment.Quit();
        apartment.Post([&] { received.push_back(-1); });
    });
    apartment.Run();
    poster.join();
    ASSERT_EQ(received.size(), 1000u);
    EXPECT_TRUE(std::is_sorted(received.begin(), received.end()));
}

TEST(RealApartment, SleepsUntilTheNextTimerIsDueAndGoesOnAfterAnException) {
    RealApartment apartment;
    int ticks = 0;
    auto timer = apartment.CreateTimer([&] {
        if (++ticks == 3) apartment.Quit();
    });
    apartment.Post([] { throw std::runtime_error("handler"); });
    EXPECT_THROW(apartment.Run(), std::runtime_error);
    const Duration start = apartment.Now();
    timer->Rearm(2, true);
    apartment.Run();
    EXPECT_GE(apartment.Now() - start, 6ms);
    EXPECT_EQ(ticks, 3);
    timer->Enabled(false);
    EXPECT_FALSE(apartment.PumpUntil([] { return false; }, 1ms));
}

}  // namespace
}  // namespace orvix::platform
