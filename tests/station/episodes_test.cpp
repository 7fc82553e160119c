#include "station/run/episodes.h"
#include "tests/station/readings.h"

#include <gtest/gtest.h>

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using namespace orvix::station;

constexpr char kPort[] = "/dev/ttyUSB0";

/// Readings and line events of one port in virtual time, and what is said of them.
struct EpisodesTest : testing::Test {
    void Say(const std::vector<EpisodeEvent>& events) {
        for (const auto& event : events)
            Said.push_back(TextOf(event));
    }
    void Read(int address, bool good) {
        auto reading = ReadingAt(0, kPort, address);
        if (good) reading.Value = 21.5;
        reading.Error = {errors::TimeOut, "No reply.", {}};
        Say(All.OnReading(reading, Now));
    }
    void FailLine() { Say(All.OnLine({Now, kPort, LineEvent::Kind::Failed, {}, "cannot be opened"}, Now)); }
    void Pass(Duration time) {
        for (const auto end = Now + time; Now < end; Now += std::min<Duration>(5s, end - Now))
            Say(All.OnPassing(Now));
    }

    Episodes All;
    Duration Now = 100h;
    std::vector<std::string> Said;
};

TEST_F(EpisodesTest, SaidOnceWhenItBeginsAndOnceWhenItEnds) {
    Read(12, true);
    for (int i = 0; i < 37; ++i) {
        Read(12, false);
        Pass(3s);
        Read(13, true);
    }
    EXPECT_EQ(All.Summary(Now),
              "not well at the end: /dev/ttyUSB0, 12 Oven (37 failed readings in 1 min 51 s): No reply (0x80041589)");
    Read(12, true);
    Read(12, true);
    EXPECT_EQ(All.Summary(Now), "");
    EXPECT_EQ(Said, (std::vector<std::string>{
                        "/dev/ttyUSB0, 12 Oven: No reply (0x80041589)",
                        "/dev/ttyUSB0, 12 Oven: answers again after 37 failed readings in 1 min 51 s"}));
}

TEST_F(EpisodesTest, APortThatIsGoneIsSaidForThePortAlone) {
    for (int round = 0; round < 3; ++round) {
        for (const int address : {5, 6, 7}) {
            FailLine();
            Read(address, false);
            Pass(1s);
        }
        Say(All.OnTrouble(kPort, {errors::General, "cannot be opened", {}}, Now));
    }
    // The line is back; the first device is not.
    Read(5, false);
    Read(6, true);
    EXPECT_EQ(Said, (std::vector<std::string>{"/dev/ttyUSB0: cannot be opened (0x800405E9)",
                                              "/dev/ttyUSB0: works again after 9 failed readings in 9 s",
                                              "/dev/ttyUSB0, 5 Oven: No reply (0x80041589)"}));
}

TEST_F(EpisodesTest, TroubleOfNoReadingLastsUntilAGoodOne) {
    Say(All.OnTrouble(kPort, {errors::General, "no driver", {}}, Now));
    Read(5, false);
    Pass(2s);
    EXPECT_EQ(Said.size(), 2U);
    Read(5, true);
    ASSERT_EQ(Said.size(), 4U);
    EXPECT_EQ(Said[2], "/dev/ttyUSB0: works again after 2 s");
}

// Half of each period good, half failed, for twelve hours; then all is well.
TEST_F(EpisodesTest, HoursOfFlappingLeaveTensOfLines) {
    for (const auto period : {2s, 14s, 60s, 300s, 1200s, 2000s, 3000s}) {
        SCOPED_TRACE(period.count());
        All = {};
        Said.clear();
        for (const auto end = Now + 12h; Now < end;) {
            FailLine();
            Read(5, false);
            Pass(period / 2);
            Read(5, true);
            Read(6, false);
            Pass(period / 2);
            Read(6, true);
        }
        EXPECT_LE(Said.size(), 60U);
        Pass(61min);
        EXPECT_EQ(All.Summary(Now), "");
    }
}

TEST_F(EpisodesTest, AnUnsteadyDeviceIsSaidNowAndThenUntilItHasBeenWellForAWhile) {
    for (int i = 0; i < 100; ++i) {
        Read(5, false);
        Pass(30s);
        Read(5, true);
        Pass(30s);
    }
    Pass(1h);
    Read(5, false);
    ASSERT_EQ(Said.size(), 12U) << testing::PrintToString(Said);
    EXPECT_EQ(
        Said[6],
        "/dev/ttyUSB0, 5 Oven: is unsteady: failed 4 times, 3 failed readings in 3 min, and fails now, latest: No "
        "reply (0x80041589); single failures are no longer reported");
    EXPECT_NE(Said[7].find("failed 14 times"), std::string::npos) << Said[7];
    EXPECT_NE(Said[8].find("failed 74 times"), std::string::npos) << Said[8];
    EXPECT_NE(Said[9].find("failed 100 times"), std::string::npos) << Said[9];
    EXPECT_EQ(Said[10],
              "/dev/ttyUSB0, 5 Oven: is steady again; it failed 100 times, 100 failed readings in 2 h 39 min");
    EXPECT_EQ(Said[11], "/dev/ttyUSB0, 5 Oven: No reply (0x80041589)");
}

}  // namespace
}  // namespace orvix::tests
