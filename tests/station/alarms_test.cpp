#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "platform/real_apartment.h"
#include "station/run/alarm_book.h"
#include "station/sink/alarm_program/alarm_command.h"
#include "tests/station/program.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

using station::AlarmEvent;
using station::AlarmKind;
using station::AlarmLimits;

station::Reading ReadingOf(int second, station::ReadingValue value) {
    station::Reading reading;
    reading.UnixMilliseconds = second * 1000;
    reading.Port = "p";
    reading.Address = 5;
    reading.Value = std::move(value);
    return reading;
}

// A row of readings, one a second, and the alarms that start (+) and end (-) at which second.
TEST(AlarmBook, StartsAndEndsOnceWithAHoldOff) {
    constexpr std::monostate failed;
    struct Case {
        const char* What;
        AlarmLimits Limits;
        std::vector<station::ReadingValue> Values;
        std::vector<std::string> Events;
    };
    const std::vector<Case> cases = {
        {"at once", {{}, 30.0, 0, 0, 1}, {20.0, 31.0, 32.0, 30.0, 31.0}, {"1+high", "3-high", "4+high"}},
        {"a limit itself is within", {10.0, 30.0, 0, 0, 1}, {10.0, 30.0}, {}},
        {"three in a row",
         {10.0, {}, 0, 0, 3},
         {9.0, 9.0, 10.0, 9.0, 9.0, 9.0, 11.0, 9.0, 11.0, 11.0, 11.0},
         {"5+low", "10-low"}},
        {"a failed reading neither counts nor breaks",
         {{}, 30.0, 0, 0, 2},
         {31.0, failed, failed, 31.0, failed, 29.0, 29.0},
         {"3+high", "6-high"}},
        {"from below to above", {10.0, 30.0, 0, 0, 1}, {9.0, 31.0}, {"0+low", "1-low", "1+high"}},
        {"inputs by bit, in either state", {{}, {}, 0x01, 0x80, 1}, {0x80, 0x81, 0x01}, {"1+input 0", "2+input 7"}},
        {"degrees are no inputs", {{}, {}, 0x01, 0, 1}, {1.0}, {}},
        {"no limits", {}, {1000.0}, {}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.What);
        station::AlarmBook book;
        book.Limits(station::IdOf("p", 5), row.Limits);
        std::vector<std::string> events;
        for (int second = 0; second < static_cast<int>(row.Values.size()); ++second) {
            for (const auto& event : book.Take(ReadingOf(second, row.Values[static_cast<std::size_t>(second)]))) {
                events.push_back(std::to_string(event.UnixMilliseconds / 1000) + (event.Starts ? "+" : "-") +
                                 event.KindText());
            }
        }
        EXPECT_EQ(events, row.Events);
    }
}

TEST(AlarmBook, AnAlarmEndsWhenItsLimitOrDeviceIsTakenAway) {
    station::AlarmBook book;
    book.Limits(station::IdOf("p", 5), {{}, 30.0, 0, 0, 1});
    ASSERT_EQ(book.Take(ReadingOf(0, 31.0)).size(), 1U);
    ASSERT_EQ(book.Active().size(), 1U);
    book.Limits(station::IdOf("p", 5), {});
    const auto events = book.Take(ReadingOf(1, 31.0));
    ASSERT_EQ(events.size(), 1U);
    EXPECT_TRUE(!events[0].Starts && events[0].Withdrawn);
    EXPECT_TRUE(book.Active().empty());

    book.Limits(station::IdOf("p", 5), {{}, 30.0, 0, 0, 1});
    ASSERT_EQ(book.Take(ReadingOf(2, 31.0)).size(), 1U);
    EXPECT_EQ(book.Forget(station::IdOf("p", 5), 3000).size(), 1U);
    EXPECT_TRUE(book.Take(ReadingOf(4, 31.0)).empty());
}

class AlarmCommandTest : public ::testing::Test {
protected:
    /// Runs the command for events and waits until `done` holds.
    void Run(std::vector<std::string> command, std::chrono::milliseconds limit, int events,
             const std::function<bool()>& done) {
        station::AlarmCommand alarm(std::move(command), limit, m_Home,
                                    [this](const std::string& text) { m_Told.push_back(text); });
        for (int i = 0; i < events; ++i)
            alarm.OnAlarm({0, "p", 5, "Oven; rm *", AlarmKind::High, 0, i % 2 == 0, 31.5, 30, false});
        // The end of a program that has nothing to say wakes nobody.
        for (int i = 0; i < 3000 && !done(); ++i)
            m_Home.PumpUntil(done, std::chrono::milliseconds(10));
        EXPECT_TRUE(done());
    }

    platform::RealApartment m_Home;
    TestFolder m_Folder;
    std::vector<std::string> m_Told;
};

TEST_F(AlarmCommandTest, RunsInOrderWithTheEventInItsEnvironment) {
    const auto file = m_Folder.Path + "/out";
    const auto script =
        "echo \"$NIMBO1_EVENT $NIMBO1_ALARM $NIMBO1_ADDRESS $NIMBO1_NAME $NIMBO1_VALUE $NIMBO1_LIMIT\" >>" + file;
    const std::string expected = "start high 5 Oven; rm * 31.5 30\nend high 5 Oven; rm * 31.5 30\n";
    Run({"sh", "-c", script}, std::chrono::seconds(30), 2, [&] { return ContentsOf(file) == expected; });
    EXPECT_TRUE(m_Told.empty());
}

TEST_F(AlarmCommandTest, TellsWhatWentWrong) {
    const struct {
        std::vector<std::string> Command;
        std::string Says;
    } cases[] = {
        {{"/nowhere/at all"}, "alarm command /nowhere/at all cannot be started: No such file or directory"},
        {{"sh", "-c", "exit 3"}, "alarm command sh ended with status 3"},
        {{"sh", "-c", "kill -9 $$"}, "alarm command sh ended by signal 9"},
        {{"sh", "-c", "sleep 1000"}, "alarm command sh was killed after 0 s"},
    };
    for (const auto& row : cases) {
        m_Told.clear();
        Run(row.Command, std::chrono::milliseconds(row.Says.find("killed") == std::string::npos ? 30000 : 50), 1,
            [&] { return !m_Told.empty(); });
        ASSERT_EQ(m_Told.size(), 1U);
        EXPECT_EQ(m_Told[0], row.Says);
    }
}

}  // namespace
}  // namespace orvix::tests
