#include "station/library/outbox.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/virtual_apartment.h"

using namespace std::chrono_literals;

namespace orvix::station {
namespace {

using TimedTexts = std::vector<std::pair<Duration, std::string>>;

struct Ear : Listener {
    explicit Ear(const Apartment& home) : Home(home) {}
    void OnLine(const LineEvent&) override { Heard.emplace_back(Home.Now(), "line"); }
    void OnExchange(const Exchange&) override { Heard.emplace_back(Home.Now(), "exchange"); }
    void OnReading(const Reading&) override { Heard.emplace_back(Home.Now(), "reading"); }

    const Apartment& Home;
    TimedTexts Heard;
};

TEST(Outbox, WakesItsListenerOnceForAnExchangeAndItsReadingAndKeepsNothingBack) {
    platform::VirtualScheduler time(Date{0});
    platform::VirtualApartment bus(time, 1);
    platform::VirtualApartment home(time, 2);
    Ear ear(home);
    {
        Outbox outbox(bus, home, ear);
        outbox.OnLine({});
        outbox.OnExchange({});
        time.RunFor(12ms);
        outbox.OnReading({});
        outbox.OnLine({});
        time.RunFor(60ms);
        EXPECT_EQ(ear.Heard, (TimedTexts{{12ms, "line"}, {12ms, "exchange"}, {12ms, "reading"}, {12ms, "line"}}));
        ear.Heard.clear();
        outbox.OnLine({});
        time.RunFor(20ms);
        EXPECT_EQ(ear.Heard, TimedTexts{});
        time.RunFor(20ms);
        EXPECT_EQ(ear.Heard, (TimedTexts{{97ms, "line"}}));
        outbox.OnExchange({});
    }
    time.RunFor(0ms);
    EXPECT_EQ(ear.Heard.back(), (TimedTexts::value_type{112ms, "exchange"}));
}

}  // namespace
}  // namespace orvix::station
