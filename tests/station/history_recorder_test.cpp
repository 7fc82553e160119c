#include "station/sink/history/history_recorder.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "platform/real_apartment.h"
#include "platform/virtual_apartment.h"
#include "station/model/clock.h"
#include "tests/station/readings.h"
#include "tests/support/test_folder.h"

using namespace std::chrono_literals;

namespace orvix::station {
namespace {

TEST(WatchedTurns, OneThatStandsStillIsToldOnceAndHoldsUpNobody) {
    platform::VirtualScheduler time(Date{0});
    platform::VirtualApartment home(time);
    std::vector<bool> told;
    std::promise<void> entered;
    std::promise<void> disk;
    WatchedTurns turns(
        home,
        [&] {
            entered.set_value();
            disk.get_future().wait();
        },
        [&](bool isStill) { told.push_back(isStill); });
    entered.get_future().wait();
    time.RunFor(15s);
    EXPECT_EQ(turns.StandStill(), std::nullopt) << "another program may keep the file for seconds";
    time.RunFor(1h);
    EXPECT_EQ(turns.StandStill(), std::make_optional<Duration>(1h + 15s));
    EXPECT_EQ(told, std::vector<bool>{true});

    disk.set_value();
    turns.End();
    EXPECT_EQ(turns.StandStill(), std::nullopt);
    time.RunFor(1h);
    EXPECT_EQ(told, (std::vector<bool>{true, false}));
}

TEST(HistoryRecorder, TellsForHowLongNothingCouldBeWritten) {
    const tests::TestFolder folder;
    const auto file = folder.Path + "/history.db";
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    platform::RealApartment home;
    std::vector<std::string> said;
    HistoryRecorder history(file, {}, "a session", home, [&](const std::string& text) { said.push_back(text); });
    const auto turns = home.CreateTimer([] {});
    turns->Rearm(5, true);
    ASSERT_TRUE(home.PumpUntil([&] { return history.StandsStill() && !said.empty(); }, 30s));
    history.OnReading(tests::ReadingAt(UnixMilliseconds(), "line", 5, 21.5));
    std::filesystem::remove(file);
    ASSERT_TRUE(home.PumpUntil([&] { return !history.StandsStill() && said.size() > 1; }, 30s));
    EXPECT_EQ(said.back(), "history: written again; 0 readings lost");
    EXPECT_EQ(said.size(), 2U);
    EXPECT_EQ(history.Close(), 0);
}

TEST(HistoryRecorder, TellsAtTheEndWhatNobodyHasHeardYet) {
    const tests::TestFolder folder;
    const auto file = folder.Path + "/history.db";
    std::ofstream(file) << "no history, but long enough to be taken for one";
    platform::RealApartment home;
    std::vector<std::string> said;
    HistoryRecorder history(file, {}, "a session", home, [&](const std::string& text) { said.push_back(text); });
    EXPECT_EQ(history.Close(), 0);
    ASSERT_EQ(said.size(), 1U);
    EXPECT_NE(said[0].find("it is kept as"), std::string::npos) << said[0];
}

}  // namespace
}  // namespace orvix::station
