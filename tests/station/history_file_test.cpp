#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "host/error.h"
#include "tests/station/history_fixture.h"

namespace orvix::tests {
namespace {

using HistoryFileTest = HistoryTest;

/// A history as stations wrote it in layout 1: one device under two names, and an alarm.
constexpr char kLayout1[] =
    "CREATE TABLE series(id INTEGER PRIMARY KEY, port TEXT NOT NULL, address INTEGER NOT NULL, model INTEGER NOT NULL,"
    " name TEXT NOT NULL, variable TEXT NOT NULL, UNIQUE(port, address, model, name, variable));"
    "CREATE TABLE readings(series INTEGER NOT NULL, time_ms INTEGER NOT NULL, value REAL NOT NULL,"
    " PRIMARY KEY(series, time_ms)) WITHOUT ROWID;"
    "CREATE TABLE gaps(series INTEGER NOT NULL, from_ms INTEGER NOT NULL, to_ms INTEGER NOT NULL,"
    " count INTEGER NOT NULL, code INTEGER NOT NULL, text TEXT NOT NULL, PRIMARY KEY(series, from_ms)) WITHOUT ROWID;"
    "CREATE TABLE sessions(id INTEGER PRIMARY KEY, start_ms INTEGER NOT NULL, pid INTEGER NOT NULL,"
    " alive_ms INTEGER NOT NULL, ended INTEGER NOT NULL DEFAULT 0, UNIQUE(start_ms, pid));"
    "CREATE TABLE watches(series INTEGER NOT NULL, session INTEGER NOT NULL, from_ms INTEGER NOT NULL,"
    " PRIMARY KEY(series, session)) WITHOUT ROWID;"
    "CREATE TABLE events(session INTEGER NOT NULL, number INTEGER NOT NULL, time_ms INTEGER NOT NULL,"
    " port TEXT NOT NULL, address INTEGER NOT NULL, kind TEXT NOT NULL, text TEXT NOT NULL, value REAL NOT NULL,"
    " ended_ms INTEGER, PRIMARY KEY(session, number)) WITHOUT ROWID;"
    "CREATE INDEX events_by_time ON events(time_ms, session, number);"
    "INSERT INTO series VALUES(1, '/dev/line', 5, 106, 'Nimbo1', 'temperature'),"
    " (2, '/dev/line', 5, 106, 'Oven', 'temperature'), (3, '/dev/line', 6, 104, 'Doors', 'inputs'),"
    " (4, '/dev/line', 7, 106, 'Never', 'temperature');"
    "INSERT INTO sessions VALUES(1, 1795000000000, 77, 1795000120000, 1), (2, 1795000600000, 78, 1795000720000, 0);"
    "INSERT INTO watches VALUES(1, 1, 1795000000000), (3, 1, 1795000000000), (2, 2, 1795000600000), (4, 1, "
    "1795000000000);"
    "INSERT INTO gaps VALUES(1, 1795000010000, 1795000012000, 3, -2147214967, 'No reply'),"
    " (4, 1795000000000, 1795000110000, 111, -2147214967, 'No reply');"
    "INSERT INTO events VALUES(1, 1, 1795000020000, '/dev/line', 5, 'high', 'too hot', 31.5, 1795000030000);"
    "PRAGMA user_version = 1;";

void MakeLayout1(const std::string& file) {
    std::ofstream(file).close();
    platform::SqliteConnection connection(file);
    connection.Execute(kLayout1);
    platform::SqliteStatement add(connection, "INSERT INTO readings VALUES(?, ?, ?)");
    for (int second = 0; second < 120; ++second) {
        if (second >= 10 && second <= 12) continue;
        add.Bind(1, 1).Bind(2, kStart + second * kSecond).Bind(3, 20.0).Run();
        add.Bind(1, 2).Bind(2, kStart + (600 + second) * kSecond).Bind(3, 30.0).Run();
        add.Bind(1, 3).Bind(2, kStart + second * kSecond).Bind(3, 1.0).Run();
    }
}

/// What layout 1 holds, however it is read.
void ExpectLayout1(HistoryTest& test, std::int64_t now) {
    auto reader = test.Reader(now);
    const auto devices = reader.Find({});
    ASSERT_EQ(devices.size(), 3U);
    EXPECT_EQ(reader.Summarize(devices[2], {kStart + kSecond, kStart + 90 * kSecond}).Failed, 111);
    EXPECT_EQ(devices[0].Id, "d1");
    EXPECT_EQ(devices[0].Key.Name, "Oven") << "a new name is no new device";
    const Period all{kStart, kStart + now};
    const auto summary = reader.Summarize(devices[0], all);
    EXPECT_EQ(summary.Figures.Count, 234);
    EXPECT_EQ(summary.Figures.Lowest, 20);
    EXPECT_EQ(summary.Figures.Highest, 30);
    EXPECT_EQ(summary.Failed, 3);
    EXPECT_EQ(summary.NotRunning.count(), now - 720 * kSecond + 480 * kSecond);
    int alarms = 0;
    reader.ReadAlarms({.Port = {}, .Device = {}, .Time = all}, [&](const AlarmRow& alarm) {
        ++alarms;
        EXPECT_EQ(alarm.State.Text, "too hot");
        EXPECT_EQ(alarm.State.Address, 5);
        EXPECT_EQ(alarm.State.Ended, kStart + 30 * kSecond);
        return true;
    });
    EXPECT_EQ(alarms, 1);
}

TEST_F(HistoryFileTest, Layout1IsReadAsItIsAndThenBroughtUpToDate) {
    MakeLayout1(m_File);
    const auto before = ContentsOf(m_File);
    ExpectLayout1(*this, 730 * kSecond);
    EXPECT_EQ(ContentsOf(m_File), before);

    Begin({}, 1000, 800 * kSecond);
    for (int turn = 0; turn < 5; ++turn)
        Turn(800 * kSecond);
    ExpectLayout1(*this, 800 * kSecond);
    EXPECT_TRUE(m_Said.empty());
    platform::SqliteConnection connection(m_File);
    platform::SqliteStatement rows(connection,
                                   "SELECT (SELECT sum(count) FROM rollups WHERE span = 1), (SELECT sum(on1_ms) FROM "
                                   "input_rollups WHERE span = 60), (SELECT count(*) FROM series WHERE rolled_ms > 0 "
                                   "AND session IS NULL)");
    ASSERT_TRUE(rows.Step());
    EXPECT_EQ(rows.LongNumber(0), 234) << "rolled up beside the other work";
    EXPECT_EQ(rows.LongNumber(1), 119'000);
    EXPECT_EQ(rows.LongNumber(2), 0);
}

// The same question has the same answer whether single readings, minutes or hours are added up, also after a kill.
TEST_F(HistoryFileTest, AReaderOfTheSameProcessLeavesTheWriterItsLocks) {
    Begin();
    Add(5, 0, 21.5);
    Turn(0);
    EXPECT_EQ(Rows(0, kSecond).size(), 1U);
    // A process does not see its own locks. Without any, another one would take the log away that is written to.
    const pid_t other = ::fork();
    if (other == 0) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        const int file = ::open(m_File.c_str(), O_RDWR);
        ::_exit(::fcntl(file, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK ? 0 : 1);
    }
    int status = -1;
    ::waitpid(other, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(HistoryFileTest, FiguresAreExactWhateverTheyAreMadeOf) {
    std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the same each time
    std::vector<std::pair<std::int64_t, double>> readings;
    std::int64_t time = 0;
    for (int session = 0; session < 3; ++session) {
        Begin({}, 10'000, time);
        for (int i = 0; i < 4000; ++i) {
            time += 1 + static_cast<std::int64_t>(random() % 8000);
            readings.emplace_back(time, static_cast<double>(random() % 1000) / 8);
            Add(5, time, readings.back().second);
            if (i % 500 == 0) Turn(time);
        }
        // One that is killed leaves minutes to the next one.
        if (session == 1) End(time);
        if (session != 1) Turn(time);
        time += 600'000;
    }
    for (int turn = 0; turn < 100; ++turn)
        Turn(time);
    auto reader = Reader(time);
    const auto devices = reader.Find({});
    ASSERT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0].Series.size(), 3U);
    auto query = reader.FiguresOf(devices[0]);
    for (int question = 0; question < 300; ++question) {
        const auto any = [&] { return static_cast<std::int64_t>(random()) % time; };
        const auto [first, second] = std::pair(any(), any());
        const auto until = std::max(first, second);
        const auto since = question % 3 == 0 ? std::min(first, second) / 60'000 * 60'000 : std::min(first, second);
        Figures expected;
        for (const auto& [at, value] : readings)
            if (at >= since && at < until) expected.Add(value);
        const auto figures = query.Of({kStart + since, kStart + until});
        ASSERT_EQ(figures.Count, expected.Count) << since << " to " << until;
        ASSERT_EQ(figures.Sum, expected.Sum) << "eighths add up without rounding";
        if (expected.Count == 0) continue;
        ASSERT_EQ(figures.Lowest, expected.Lowest);
        ASSERT_EQ(figures.Highest, expected.Highest);
    }
}

TEST_F(HistoryFileTest, OnlyChangesAreRecordedButAllReadingsCount) {
    Begin({.Record = {.OnlyChanges = true, .DeadBand = 0.5}});
    for (int second = 0; second < 300; ++second)
        Add(5, second * kSecond, second == 200 ? 30.0 : 20.0 + second % 2 * 0.25);
    End(300 * kSecond);
    EXPECT_EQ(Rows(0, 300 * kSecond), (Lines{"5@0=20", "5@200000=30", "5@201000=20.25"}));
    auto reader = Reader(300 * kSecond);
    const auto devices = reader.Find({});
    const auto figures = reader.FiguresOf(devices.at(0)).Of({kStart, kStart + 300 * kSecond});
    EXPECT_EQ(figures.Count, 300);
    EXPECT_EQ(figures.Highest, 30);
}

TEST_F(HistoryFileTest, ADeviceThatIsTakenAwayOrRenamedGrowsNoGap) {
    const SeriesKey oven{"line", 5, 106, "Oven", "temperature"};
    Begin();
    m_Pending->Watch(oven, "d5", "", ClocksAt(0));
    m_Pending->Watch({"line", 6, 106, "Attic", "temperature"}, "d6", "", ClocksAt(0));
    Add(5, kSecond, 20.0);
    m_Pending->Unwatch(IdOf("line", 6), ClocksAt(2 * kSecond));
    auto renamed = oven;
    renamed.Name = "Kiln";
    m_Pending->Watch(renamed, "d5", "", ClocksAt(3 * kSecond));
    auto reading = ReadingOf(5, 4 * kSecond, 21.0);
    reading.Name = "Kiln";
    reading.Seq = 99;
    m_Pending->Add(reading, ClocksAt(4 * kSecond));
    End(5 * kSecond);
    EXPECT_EQ(Rows(0, 600 * kSecond), (Lines{"5@1000=20", "5@4000=21", "5@5000-600000*0 0"}));
    auto reader = Reader(600 * kSecond);
    EXPECT_EQ(reader.Find({.Port = {}, .Device = "kiln", .Time = {}}).size(), 1U);
    EXPECT_EQ(reader.Find({}).size(), 2U);
}

TEST_F(HistoryFileTest, AMissingPortIsWhyNothingWasRead) {
    Begin();
    m_Pending->Watch({"line", 5, 106, "", "temperature"}, "d5", "", ClocksAt(0));
    m_Pending->Trouble("line", {errors::General, "the port cannot be opened", {}}, ClocksAt(0));
    for (int second = 0; second < 30; ++second)
        Turn(second * kSecond);
    Add(5, 30 * kSecond, 20.0);
    Turn(40 * kSecond);
    EXPECT_EQ(Rows(0, 40 * kSecond), (Lines{"5@0-29000*0 " + std::to_string(errors::General), "5@30000=20"}));
    auto reader = Reader(40 * kSecond);
    const auto devices = reader.Find({});
    EXPECT_EQ(devices.at(0).Key.Name, "Oven") << "told by the reading";
    EXPECT_EQ(devices.at(0).Series.size(), 1U);
}

// A clock that is wrong by years, in either direction, costs no row.
TEST_F(HistoryFileTest, StepsOfTheClockRemoveNothing) {
    constexpr std::int64_t kYears = 4 * 365 * 86'400'000LL;
    Begin({.Keep = std::chrono::hours(24)});
    std::int64_t boot = 0;
    const auto run = [&](std::int64_t offset, int seconds) {
        for (int i = 0; i < seconds; ++i, boot += kSecond) {
            auto reading = ReadingOf(5, boot + offset, 20.0);
            reading.Seq = boot + 1;
            const ClockTimes now{kStart + boot + offset, boot, boot};
            m_Pending->Add(reading, now);
            m_Writer->Turn(now);
        }
    };
    run(0, 130);
    run(kYears, 130);
    run(-kYears, 130);
    run(0, 130);
    platform::SqliteConnection connection(m_File);
    platform::SqliteStatement rows(connection,
                                   "SELECT (SELECT count(*) FROM readings), (SELECT count(*) FROM events WHERE kind = "
                                   "'clock'), (SELECT count(*) FROM series), (SELECT count(*) FROM readings, series "
                                   "WHERE series = id AND (time_ms < from_ms OR time_ms > to_ms))");
    ASSERT_TRUE(rows.Step());
    EXPECT_EQ(rows.LongNumber(0), 520);
    EXPECT_EQ(rows.LongNumber(1), 3);
    EXPECT_EQ(rows.LongNumber(2), 4);
    EXPECT_EQ(rows.LongNumber(3), 0);
    EXPECT_EQ(Rows(0, 600 * kSecond).size(), 260U + 2) << "readings of the true time, and no time without twice";
    EXPECT_TRUE(m_Said.empty());
}

// A start far from the newest row is no proof of age either, until a day has passed.
TEST_F(HistoryFileTest, AStartWithAWrongClockRemovesNothingForADay) {
    constexpr std::int64_t kDay = 86'400'000;
    Begin({.Keep = std::chrono::hours(24)});
    Add(5, 0, 20.0);
    End(0);
    Begin({.Keep = std::chrono::hours(24)}, 1000, 30 * kDay);
    for (int turn = 0; turn < 100; ++turn)
        Turn(30 * kDay);
    EXPECT_EQ(Rows(0, kSecond).size(), 1U);
    for (int turn = 0; turn < 100; ++turn)
        m_Writer->Turn({kStart + 31 * kDay, 31 * kDay, 31 * kDay});
    EXPECT_TRUE(Rows(0, kSecond).empty());
    ASSERT_EQ(m_Said.size(), 1U);
    EXPECT_NE(m_Said[0].find("older than [history] keep"), std::string::npos) << m_Said[0];
}

}  // namespace
}  // namespace orvix::tests
