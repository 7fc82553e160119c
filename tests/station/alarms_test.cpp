#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "platform/real_apartment.h"
#include "station/run/alarm_book.h"
#include "station/sink/alarm_program/alarm_command.h"
#include "tests/station/program.h"
#include "tests/station/readings.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using station::AlarmEvent;
using station::AlarmKind;
using station::AlarmLimits;

station::Reading ReadingOf(int second, station::ReadingValue value) {
    return ReadingAt(second * 1000, "p", 5, std::move(value));
}

station::AlarmChange WhatOf(bool starts) {
    return starts ? station::AlarmChange::Started : station::AlarmChange::Ended;
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
        {"a time of three seconds",
         {{}, 30.0, 0, 0, 1, 3s},
         {31.0, 29.0, 31.0, failed, 31.0, 31.0, 29.0, 29.0, 29.0, 29.0},
         {"5+high", "9-high"}},
        {"both", {10.0, {}, 0, 0, 4, 2s}, {9.0, 9.0, 9.0, 9.0}, {"3+low"}},
        {"two degrees of hysteresis",
         {10.0, 30.0, 0, 0, 1, 0s, 2},
         {31.0, 29.0, 28.0, 29.5, 9.0, 11.9, 12.0},
         {"0+high", "2-high", "4+low", "6-low"}},
        {"no limits", {}, {1000.0}, {}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.What);
        station::AlarmBook book;
        book.Watch("p", {5, 106, {}, row.Limits}, 0s);
        std::vector<std::string> events;
        for (int second = 0; second < static_cast<int>(row.Values.size()); ++second) {
            for (const auto& event : book.Take(ReadingOf(second, row.Values[static_cast<std::size_t>(second)]),
                                               std::chrono::seconds(second))) {
                events.push_back(std::to_string(event.UnixMilliseconds / 1000) + (event.IsOn() ? "+" : "-") +
                                 event.KindText());
            }
        }
        EXPECT_EQ(events, row.Events);
    }
}

// What is told at which second of a device that answers well in some, and doubtfully in others; time passes in between.
TEST(AlarmBook, TimesThatAreTooLongAreAlarms) {
    station::AlarmBook book;
    std::vector<std::string> told;
    const auto tell = [&](int second, const std::vector<AlarmEvent>& events) {
        for (const auto& event : events) {
            told.push_back(std::to_string(second) + (event.IsOn() ? " + " : " - ") + event.Name + " " +
                           event.KindText() + ": " + event.Text());
        }
    };
    const auto read = [&](int second, station::Doubt why) {
        auto reading = ReadingOf(second, 50.0);
        reading.Why = why;
        tell(second, book.Take(reading, std::chrono::seconds(second)));
    };
    AlarmLimits limits{.Low = {}, .High = 30.0};
    limits.Silent = 10s;
    limits.Doubtful = 4s;
    limits.HoldOff = 2;
    book.Watch("p", {5, 106, "Oven", limits}, 0s);
    book.WatchPort("p", 5s);
    for (int second = 0; second <= 40; ++second) {
        const auto now = std::chrono::seconds(second);
        if (second == 12 || second == 13) read(second, station::Doubt::None);
        if (second >= 14 && second < 20) read(second, station::Doubt::Jump);
        if (second == 20) read(second, station::Doubt::None);
        // Each attempt to open a port again fails too.
        if (second >= 21 && second < 28) tell(second, book.Port("p", false, second * 1000, now));
        if (second == 28) tell(second, book.Port("p", true, second * 1000, now));
        tell(second, book.Passing(second * 1000, now));
    }
    limits.Silent = 0s;
    book.Watch("p", {5, 106, "Oven", limits}, 41s);
    tell(41, book.Passing(41'000, 41s));
    const std::vector<std::string> expected = {
        "10 + Oven silent: no good value for 10 s",
        "12 - Oven silent: a good value again after 12 s",
        "13 + Oven high: 50 °C is above the limit of 30 °C",
        "18 + Oven doubtful: doubtful values for 4 s",
        "20 - Oven doubtful: no more doubtful values after 6 s",
        "26 + p port: the port has failed for 5 s",
        "28 - p port: the port works again after 7 s",
        "30 + Oven silent: no good value for 10 s",
        "41 - Oven silent: the limit was taken away",
    };
    EXPECT_EQ(told, expected);
}

// What an earlier session has left is judged by the first reading, or by the time that it has lasted.
TEST(AlarmBook, GoesOnWhereAnEarlierSessionEnded) {
    AlarmLimits limits{.Low = {}, .High = 30.0, .InputsOn = 0, .InputsOff = 0, .HoldOff = 3};
    limits.Silent = 10s;
    const struct {
        const char* Kind;
        std::vector<station::ReadingValue> Values;  ///< one a second
        std::vector<std::string> Events;
    } cases[] = {
        {"high", {31.0, 29.0, 29.0, 29.0}, {"0 continue", "3 end"}},
        {"high", {29.0}, {"0 end"}},
        {"silent", {std::monostate(), std::monostate(), 20.0}, {"0 continue", "2 end"}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.Kind);
        station::AlarmBook book;
        book.Know({{.Alarm = "old-1",
                    .Port = "q",
                    .Address = 9,
                    .Identifier = "n1",
                    .Name = {},
                    .Kind = row.Kind,
                    .Value = 31,
                    .Text = {},
                    .Started = -60'000,
                    .Acknowledged = station::Acknowledgement{-1, "Ann", "seen"}}});
        book.Watch("p", {5, 106, "Oven", limits}, 0s);
        book.Identify(station::IdOf("p", 5), "n1", 0, 0s);
        ASSERT_EQ(book.Active().size(), 1U);
        std::vector<std::string> told;
        for (int second = 0; second < static_cast<int>(row.Values.size()); ++second) {
            auto events = book.Take(ReadingOf(second, row.Values[static_cast<std::size_t>(second)]), 1s * second);
            const auto passing = book.Passing(second * 1000, 1s * second);
            events.insert(events.end(), passing.begin(), passing.end());
            for (const auto& event : events) {
                told.push_back(std::to_string(second) + " " + NameOf(event.What));
                EXPECT_EQ(event.Alarm, "old-1");
                EXPECT_EQ(event.Acknowledged.value_or(station::Acknowledgement{}).By, "Ann");
            }
        }
        EXPECT_EQ(told, row.Events);
        EXPECT_TRUE(book.Active().empty());
        EXPECT_FALSE(book.Acknowledge("old-1", {0, "Ann", ""})) << "it is over";
    }
}

TEST(AlarmBook, AnAlarmEndsWhenItsLimitOrDeviceIsTakenAway) {
    station::AlarmBook book;
    book.Watch("p", {5, 106, {}, {{}, 30.0, 0, 0, 1}}, 0s);
    ASSERT_EQ(book.Take(ReadingOf(0, 31.0), 0s).size(), 1U);
    ASSERT_EQ(book.Active().size(), 1U);
    book.Watch("p", {5, 106, {}, {}}, 0s);
    const auto events = book.Take(ReadingOf(1, 31.0), 1s);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_TRUE(!events[0].IsOn() && events[0].Withdrawn);
    EXPECT_TRUE(book.Active().empty());

    book.Watch("p", {5, 106, {}, {{}, 30.0, 0, 0, 1}}, 0s);
    ASSERT_EQ(book.Take(ReadingOf(2, 31.0), 2s).size(), 1U);
    EXPECT_EQ(book.Forget(station::IdOf("p", 5), 3000).size(), 1U);
    EXPECT_TRUE(book.Take(ReadingOf(4, 31.0), 4s).empty());
}

class AlarmCommandTest : public ::testing::Test {
protected:
    /// Runs the command for events and waits until `done` holds.
    void Run(std::vector<std::string> command, std::chrono::milliseconds limit, int events,
             const std::function<bool()>& done) {
        station::AlarmCommand alarm(std::move(command), limit, m_Home,
                                    [this](const std::string& text) { m_Told.push_back(text); });
        for (int i = 0; i < events; ++i)
            alarm.OnAlarm({0, "p", 5, "Oven; rm *", "n1", AlarmKind::High, 0, WhatOf(i % 2 == 0), 31.5, 30, false});
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

/// While a program hangs, the newest state of each alarm of its device waits, and other devices do not.
TEST_F(AlarmCommandTest, AHangingProgramDropsNoStateSilently) {
    const auto file = m_Folder.Path + "/out";
    // Of address 5 it hangs until the file is there, at the last for ever, and has a child that must not live on though
    // it has a session of its own.
    const auto script = "echo \"$NIMBO1_ADDRESS $NIMBO1_EVENT $NIMBO1_ALARM\" >>" + file +
                        "; [ $NIMBO1_ADDRESS = 6 ] && exit; [ $NIMBO1_EVENT$NIMBO1_ALARM = endlow ] && exec sleep "
                        "1000; (setsid sleep 1000 & echo $! >" +
                        file + ".child); while [ ! -e " + file + ".go ]; do sleep 0.01; done";
    station::AlarmCommand alarm({"sh", "-c", script}, std::chrono::seconds(30), m_Home,
                                [this](const std::string& text) { m_Told.push_back(text); });
    const auto raise = [&](int address, AlarmKind kind, bool starts) {
        alarm.OnAlarm({0, "p", address, "Oven", "n1", kind, 0, WhatOf(starts), 31.5, 30, false});
    };
    const auto await = [&](const std::string& contents) {
        for (int i = 0; i < 1000 && ContentsOf(file) != contents; ++i)
            m_Home.PumpUntil([] { return false; }, std::chrono::milliseconds(10));
        EXPECT_EQ(ContentsOf(file), contents);
    };
    raise(5, AlarmKind::High, true);
    await("5 start high\n");
    raise(5, AlarmKind::High, false);
    raise(5, AlarmKind::Low, true);
    raise(5, AlarmKind::High, true);
    raise(5, AlarmKind::High, false);
    raise(6, AlarmKind::Low, true);
    await("5 start high\n6 start low\n");
    const auto child = std::stoi(ContentsOf(file + ".child"));
    std::ofstream(file + ".go") << "";
    await("5 start high\n6 start low\n5 start low\n5 end high\n");
    EXPECT_EQ(m_Told,
              (std::vector<std::string>{
                  "alarm command sh was not run for 2 alarms of p, Oven: newer ones came while it was running"}));
    const auto isGone = [&] {
        const auto status = ContentsOf("/proc/" + std::to_string(child) + "/stat");
        return status.empty() || status.find(") Z ") != std::string::npos;
    };
    for (int i = 0; i < 1000 && !isGone(); ++i)
        m_Home.PumpUntil(isGone, std::chrono::milliseconds(10));
    EXPECT_TRUE(isGone());

    m_Told.clear();
    raise(5, AlarmKind::Low, false);
    await("5 start high\n6 start low\n5 start low\n5 end high\n5 end low\n");
    raise(5, AlarmKind::High, true);
    alarm.Close();
    EXPECT_EQ(m_Told, (std::vector<std::string>{"alarm command sh is not run for the last 1 alarm"}));
}

TEST_F(AlarmCommandTest, AProgramThatCannotBeRunIsSeenByTheCheck) {
    const auto path = [&](const char* name) { return m_Folder.Path + "/" + name; };
    const auto write = [&](const char* name, const char* contents, std::filesystem::perms mode) {
        std::ofstream(path(name)) << contents;
        std::filesystem::permissions(path(name), mode);
    };
    const auto all = std::filesystem::perms::owner_all;
    write("good", "#!/bin/sh -e\n", all);
    write("plain", "echo\n", all);
    write("closed", "#!/bin/sh\n", std::filesystem::perms::owner_read);
    write("lost", "#! /bin/nothing-here\n", all);
    std::filesystem::create_directory(path("folder"));
    const struct {
        std::string Program;
        const char* Says;  // empty: it can be run
    } cases[] = {
        {"./good", ""},
        {"good", "not in any folder of PATH"},
        {"sh", ""},
        {"/bin/sh", ""},
        {"./plain", "#!"},
        {"./closed", "denied"},
        {"./lost", "No such"},
        {"./folder", "not a file"},
        {"./none", "No such"},
    };
    for (const auto& c : cases) {
        std::ofstream(path("c.toml")) << "[alarms]\non_alarm = [\"" << c.Program
                                      << "\", \"two\\nlines\"]\n[[bus]]\nport = \"/dev/x\"\n";
        const auto result = RunProgram({"config", "check", path("c.toml")});
        EXPECT_EQ(result.Status, *c.Says == '\0' ? 0 : 1) << c.Program << ": " << result.Err;
        EXPECT_NE(result.Err.find(c.Says), std::string::npos) << c.Program << ": " << result.Err;
    }
}

}  // namespace
}  // namespace orvix::tests
