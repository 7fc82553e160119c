#include <sys/eventfd.h>

#include <gtest/gtest.h>

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

TEST_F(VirtualTime, TimersKeepTheirPaceAndTickOnceAfterABlock) {
    auto timer = Ticking(m_Apartment, "tick@");
    timer->Rearm(10, true);
    m_Apartment.Post([this] { m_Apartment.Block(35ms); });
    m_Scheduler.RunFor(50ms);
    EXPECT_EQ(Take(), (Texts{"tick@35", "tick@40", "tick@50"}));

    timer->Rearm(0, true);
    m_Scheduler.RunFor(2ms);
    EXPECT_EQ(Take(), (Texts{"tick@51", "tick@52"}));
    EXPECT_TRUE(timer->Expired());
    timer->Enabled(false);
    m_Scheduler.RunFor(1h);
    EXPECT_EQ(Take(), Texts{});
    EXPECT_FALSE(timer->Expired());
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
}

TEST(RealApartment, MessagesGoBeforeTicksAndDescriptorsWaitForNeither) {
    const FileDescriptor event(::eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK));
    RealApartment apartment;
    std::vector<std::string> events;
    auto timer = apartment.CreateTimer([&] {
        events.emplace_back("tick");
        apartment.Quit();
    });
    timer->Rearm(1, true);
    std::unique_ptr<DescriptorWatch> watch = apartment.Watch(event.Get(), POLLIN, [&](short ready) {
        events.emplace_back(ready == POLLIN ? "ready" : "other");
        watch.reset();
    });
    // Each message posts the next one, so that there is always one waiting.
    std::function<void(int)> flood = [&](int left) {
        events.emplace_back("message");
        apartment.Block(1ms);
        if (left > 0) apartment.Post([&flood, left] { flood(left - 1); });
    };
    apartment.Post([&] { flood(2); });
    apartment.Run();
    EXPECT_EQ(events, (std::vector<std::string>{"ready", "message", "message", "message", "tick"}));
}

TEST(RealApartment, AMessageOfAnotherThreadWakesItWhileItWaitsForADescriptor) {
    const FileDescriptor never(::eventfd(0, EFD_CLOEXEC));
    RealApartment apartment;
    const auto watch = apartment.Watch(never.Get(), POLLIN, [](short) { FAIL(); });
    std::thread other([&] { apartment.Quit(); });
    apartment.Run();
    other.join();
}

}  // namespace
}  // namespace orvix::platform
