#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/error.h"
#include "station/commands/history_format.h"
#include "station/commands/history_report.h"
#include "station/commands/plot_samples.h"
#include "station/model/history_time.h"
#include "station/store/history_schema.h"
#include "station/store/history_slices.h"
#include "tests/station/history_fixture.h"
#include "tests/station/program.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

using namespace station;

TEST_F(HistoryTest, TellsReadingsGapsAndTimesNotRunningInOrder) {
    Begin();
    Add(5, 0, 20.0);
    Add(6, 10, 30.0);
    // A failure goes on over several turns; another reason is another gap.
    for (int second = 1; second <= 4; ++second) {
        Add(5, second * kSecond, {}, second < 4 ? errors::TimeOut : errors::Checksum);
        Turn(second * kSecond);
    }
    Add(5, 5 * kSecond, 21.0);
    Add(5, 5 * kSecond, 22.0);  // the clock stood still
    Add(5, 5 * kSecond, "a serial number");
    EXPECT_EQ(End(5 * kSecond), 0);
    Begin({}, 1000, 100 * kSecond);
    Add(5, 101 * kSecond, 23.0);
    Turn(102 * kSecond);

    const auto timeOut = std::to_string(errors::TimeOut);
    const auto checksum = std::to_string(errors::Checksum);
    EXPECT_EQ(Rows(0, 103 * kSecond),
              (Lines{"5@0=20", "6@10=30", "5@1000-4000*3 " + timeOut, "5@4000-5000*1 " + checksum, "5@5000=21",
                     "5@5000-101000*0 0", "6@5000-103000*0 0", "5@5001=22", "5@101000=23"}));
    EXPECT_EQ(Rows(2 * kSecond, 4 * kSecond), (Lines{"5@1000-4000*3 " + timeOut})) << "a gap that began before";

    auto reader = Reader(103 * kSecond);
    const auto oven = reader.Find({.Port = "line", .Device = "5", .Time = {}});
    ASSERT_EQ(oven.size(), 1U);
    const auto summary = reader.Summarize(oven[0], {kStart + 2 * kSecond, kStart + 51 * kSecond});
    EXPECT_EQ(summary.Figures.Count, 2);
    EXPECT_EQ(summary.Figures.Mean(), 21.5);
    EXPECT_EQ(summary.Gaps, 2);
    EXPECT_EQ(summary.GapTime.count(), 3 * kSecond);
    EXPECT_EQ(summary.NotRunning.count(), 46 * kSecond);
    EXPECT_THROW(reader.Find({.Port = "", .Device = "Owen", .Time = {}}), Error);
    EXPECT_TRUE(m_Said.empty());
}

TEST_F(HistoryTest, KeepsWhatCannotBeWrittenUpToABound) {
    Begin({}, 3);
    Turn(0);
    platform::SqliteConnection other(m_File);
    other.Execute("BEGIN IMMEDIATE");
    for (int second = 1; second <= 5; ++second)
        Add(5, second * kSecond, 20.0 + second);
    Turn(6 * kSecond);
    ASSERT_EQ(m_Said.size(), 1U);
    EXPECT_NE(m_Said[0].find("locked"), std::string::npos) << m_Said[0];
    Add(5, 7 * kSecond, 27.0);
    other.Execute("COMMIT");
    Turn(8 * kSecond);
    Add(5, 9 * kSecond, 29.0);
    Turn(10 * kSecond);
    EXPECT_EQ(m_Said.size(), 2U);
    EXPECT_EQ(m_Said.back(), "history: written again; 3 readings lost");
    EXPECT_EQ(Rows(0, 11 * kSecond), (Lines{"5@1000=21", "5@2000=22", "5@3000=23",
                                            "5@4000-9000*3 " + std::to_string(errors::General), "5@9000=29"}));
}

TEST_F(HistoryTest, RemovesWhatIsTooOldOrTooMuchAndTheFileShrinks) {
    constexpr int kRows = 60'000;
    Begin({.On = true, .Keep = std::chrono::hours(24 * 365), .MostBytes = 500'000}, 2 * kRows);
    for (int second = 0; second < kRows; ++second)
        Add(5 + second % 2, second * kSecond, second % 2 == 0 ? 20.0 : 21.0);
    Turn(kRows * kSecond);
    for (int turn = 0; turn < 300; ++turn)
        Turn(kRows * kSecond);
    { platform::SqliteConnection(m_File).Execute("PRAGMA wal_checkpoint(TRUNCATE)"); }
    const auto size = std::filesystem::file_size(m_File);
    EXPECT_LT(size, 900'000U);
    EXPECT_GT(size, 300'000U);
    auto rows = Rows(0, kRows * kSecond);
    EXPECT_GT(rows.size(), 10'000U);
    EXPECT_EQ(rows.back(), "6@59999000=21");

    Begin({.On = true, .Keep = std::chrono::hours(1), .MostBytes = 500'000}, kRows, kRows * kSecond);
    for (int turn = 0; turn < 10; ++turn)
        Turn(kRows * kSecond);
    rows = Rows(0, kRows * kSecond);
    EXPECT_EQ(rows.size(), 3600U);
    EXPECT_EQ(rows.front(), "5@56400000=20");
}

/// Of one device, as a station tells it.
AlarmEvent AlarmAt(std::int64_t time, int address, const std::string& id, AlarmChange what) {
    return {.UnixMilliseconds = kStart + time,
            .Port = "line",
            .Address = address,
            .Name = "Oven",
            .Identifier = "d" + std::to_string(address),
            .Kind = AlarmKind::High,
            .What = what,
            .Value = what == AlarmChange::Ended ? 29.5 : 31.5,
            .Limit = 30,
            .Alarm = id,
            .Started = kStart + time};
}

// Over the end of a session it is the same, with what was said of it.
TEST_F(HistoryTest, AnAlarmIsOneRowFromStartToEnd) {
    Begin();
    Add(5, 0, 31.5);
    auto alarm = AlarmAt(0, 5, AlarmName(m_Session, 7), AlarmChange::Started);
    const auto text = alarm.Text();
    m_Pending->Add(alarm);
    Turn(0);
    alarm.What = AlarmChange::Acknowledged;
    alarm.Acknowledged = Acknowledgement{kStart + 500, "Ann", "=seen"};
    m_Pending->Add(alarm);
    End(kSecond);
    const auto left = AlarmsLeftOn(m_File);
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left[0].Alarm, alarm.Alarm);
    EXPECT_EQ(left[0].Acknowledged.value().Comment, "=seen");

    Begin({}, 1000, 10 * kSecond);
    alarm.What = AlarmChange::Continued;
    m_Pending->Add(alarm);
    Turn(10 * kSecond);
    AlarmQuestion question{.State = AlarmQuestion::Which::On, .Time = {kStart, kStart + 60 * kSecond}};
    EXPECT_EQ(Reader(11 * kSecond).Alarms(question).Total, 1);
    alarm.What = AlarmChange::Ended;
    alarm.UnixMilliseconds = kStart + 12 * kSecond;
    m_Pending->Add(alarm);
    Turn(12 * kSecond);
    EXPECT_EQ(Reader(12 * kSecond).Alarms(question).Total, 0);
    question.State = AlarmQuestion::Which::Over;
    const auto over = Reader(12 * kSecond).Alarms(question);
    ASSERT_EQ(over.Alarms.size(), 1U);
    const auto json = station::ToJson(over.Alarms[0]);
    EXPECT_EQ(json["id"], alarm.Alarm);
    EXPECT_EQ(json["text"], text);
    EXPECT_EQ(json["value"], 31.5);
    EXPECT_EQ(json["device"], "d5");
    EXPECT_EQ(json["acknowledged"]["by"], "Ann");
    EXPECT_TRUE(AlarmsLeftOn(m_File).empty());
}

TEST_F(HistoryTest, ThePortThatHasNeverBeenOpenHasItsAlarm) {
    Begin();
    auto alarm = AlarmAt(0, 0, AlarmName(m_Session, 1), AlarmChange::Started);
    alarm.Identifier.clear();
    alarm.Kind = AlarmKind::Port;
    m_Pending->Add(alarm);
    End(kSecond);
    Lines lines;
    Reader(2 * kSecond)
        .ReadAlarms({.Port = {}, .Device = {}, .Time = {kStart, kStart + kSecond}}, [&](const AlarmRow& row) {
            lines.push_back(LineOf(row, false));
            return true;
        });
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].find("line                 line "), std::string::npos) << lines[0];
}

TEST_F(HistoryTest, ListsAlarmsWithTheirEnds) {
    int number = 0;
    const auto add = [this, &number](int address, std::int64_t time, bool starts) {
        Add(address, time, 31.5);
        const auto id = AlarmName(m_Session, starts ? ++number : number);
        m_Pending->Add(AlarmAt(time, address, id, starts ? AlarmChange::Started : AlarmChange::Ended));
    };
    Begin();
    add(5, 0, true);
    add(5, kSecond, false);
    add(5, 2 * kSecond, true);
    End(3 * kSecond);
    Begin({}, 2000, 10 * kSecond);
    add(6, 11 * kSecond, true);
    for (int i = 0; i < 600; ++i) {
        add(5, 12 * kSecond, true);
        add(5, 13 * kSecond, false);
    }
    Turn(14 * kSecond);

    const auto list = [this](std::int64_t since, std::int64_t until, std::int64_t now, const char* device) {
        auto reader = Reader(now);
        Lines lines;
        reader.ReadAlarms({.Port = {}, .Device = device, .Time = {kStart + since, kStart + until}},
                          [&](const AlarmRow& alarm) {
                              lines.push_back(LineOf(alarm, false));
                              return true;
                          });
        return lines;
    };
    const auto now = 15 * kSecond;
    const Lines early = list(0, 5 * kSecond, now, "");
    ASSERT_EQ(early.size(), 2U);
    EXPECT_EQ(
        early[0],
        "2026-11-18 11:06:40  until 2026-11-18 11:06:41  line            5    Oven                        high    "
        "  31.5 °C is above the limit of 30 °C\n");
    EXPECT_NE(early[1].find("until the station stopped"), std::string::npos);
    EXPECT_EQ(list(4 * kSecond, now, now, "").size(), 601U);
    const Lines six = list(4 * kSecond, now, now, "6");
    ASSERT_EQ(six.size(), 1U);
    EXPECT_NE(six[0].find("still on"), std::string::npos);
    EXPECT_NE(six[0].find("; id "), std::string::npos) << "to acknowledge it by";
    EXPECT_NE(list(0, now, now + 60 * kSecond, "6").at(0).find("station stopped"), std::string::npos) << "killed";
    const auto page = Reader(now).Alarms({.Device = "d5", .Time = {kStart, kStart + now}, .Limit = 10, .Offset = 595});
    EXPECT_EQ(page.Total, 602);
    ASSERT_EQ(page.Alarms.size(), 7U);
    EXPECT_EQ(page.Alarms[6].State.Started, kStart) << "the newest comes first";
}

TEST(HistoryTime, IsWhatPeopleWrite) {
    const struct {
        const char* Text;
        std::int64_t Time;  ///< 0: refused
    } cases[] = {
        {"90s", kStart - 90'000},
        {"1.5h", kStart - 5'400'000},
        {"30d", kStart - 30 * 86'400'000LL},
        {"2026-11-18", 1'794'960'000'000},
        {"2026-11-18T11:06:40Z", kStart},
        {"2026-11-18 11:06", kStart - 40'000},
        {"11:06", kStart - 40'000},
        {"9:30", kStart - 40'000 - 96 * 60'000},
        {"11:07", kStart + 20'000 - 86'400'000},
        {"24:00", 0},
        {"11:60", 0},
        {"2026-02-30", 0},
        {"2026-11-18T25:00", 0},
        {"yesterday", 0},
        {"-2h", 0},
        {"1e300d", 0},
        {"h", 0},
        {"", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Text);
        if (c.Time == 0) {
            EXPECT_THROW(ParseHistoryTime(c.Text, kStart), Error);
        } else {
            EXPECT_EQ(ParseHistoryTime(c.Text, kStart), c.Time);
        }
    }
}

// A day of readings comes down to what a plot can show, with its peak and its gap.
TEST(PlotSamples, KeepPeaksAndGaps) {
    constexpr std::int64_t kDay = 86'400;
    PlotSamples samples({kStart, kStart + kDay * kSecond});
    HistoryRow row{.Time = 0, .Value = {}, .Reason = {}};
    for (std::int64_t second = 0; second < kDay; ++second) {
        if (second > 40'000 && second < 50'000) continue;
        row.Time = kStart + second * kSecond;
        row.Value = second == 30'000 ? 99.0 : 20.0;
        if (second == 50'000) {
            HistoryRow gap{.Time = kStart + 40'001 * kSecond, .Value = {}, .Reason = {1, "No reply", {}}};
            gap.Until = kStart + 49'999 * kSecond;
            samples.Add(gap);
        }
        samples.Add(row);
    }
    const auto plot = samples.Finish();
    EXPECT_LE(plot.Samples.size(), 2000U);
    EXPECT_EQ(std::count_if(plot.Samples.begin(), plot.Samples.end(), [](auto& s) { return s.Value == 99; }), 1);
    EXPECT_EQ(std::count_if(plot.Samples.begin(), plot.Samples.end(), [](auto& s) { return s.BeginsCurve; }), 1);
    EXPECT_EQ(plot.Gaps.size(), 1U);
    EXPECT_EQ(plot.GapReasons, "No reply (2 h 46 min)");
}

// A bar is as long as an input was on.
TEST_F(HistoryTest, APlotOfInputsHasALaneForEach) {
    Begin({}, 100'000);
    for (int second = 1000; second < 2000; ++second) {
        auto reading = ReadingOf(7, second * kSecond, std::int32_t{second < 1500 ? 0x81 : 0x80});
        reading.Model = 104;
        reading.Variable = "inputs";
        m_Pending->Add(reading, ClocksAt(second * kSecond));
    }
    End(2000 * kSecond);
    const Period asked{kStart, kStart + 10'000 * kSecond};
    auto reader = Reader(10'000 * kSecond);
    const auto device = reader.Find({}).at(0);
    PlotSamples samples(asked);
    const auto [width, slices] = SlicesOf(reader, device, asked, PlotSamples::kSlices);
    for (const auto& [begin, figures] : slices)
        samples.AddInputs(begin, begin + width, figures);
    for (const auto& gap : GapsOf(reader, device, asked, width))
        samples.Add(gap);
    const auto plot = samples.Finish();
    ASSERT_EQ(plot.Lanes.size(), 8U);
    const auto seconds = [](double days) { return (days - FromUnixMilliseconds(kStart).Days) * 86'400; };
    for (const std::size_t input : {0, 7}) {
        ASSERT_EQ(plot.Lanes[input].size(), 1U) << input;
        EXPECT_NEAR(seconds(plot.Lanes[input][0].Begin), 1000, 11);
        EXPECT_NEAR(seconds(plot.Lanes[input][0].End), input == 0 ? 1500 : 2000, 11);
    }
    EXPECT_TRUE(plot.Lanes[3].empty());
    EXPECT_NE(plot.GapReasons.find("The station was not running"), std::string::npos) << plot.GapReasons;
}

// A station that is killed has lost at most what the last second brought.
TEST(History, OutlivesKills) {
    const TestFolder folder;
    const auto data = folder.Path + "/data";
    const auto count = [&](const std::vector<std::string>& options) {
        std::vector<std::string> arguments{"history", "--data", data, "--csv"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const auto result = RunProgram(arguments);
        EXPECT_EQ(result.Status, 0) << result.Err;
        const auto has = [&](const char* text) { return result.Out.find(text) != std::string::npos; };
        EXPECT_TRUE(has("time,port,address,name,variable,value,quality,until,count,reason\n"));
        return std::count(result.Out.begin(), result.Out.end(), '\n') - 1;
    };
    Program first({"run", "--data", data, "--every", "100ms"});
    for (int reading = 0; reading < 40; ++reading)
        ASSERT_TRUE(first.AwaitOutput("21.5 °C"));
    first.Signal(SIGKILL);
    first.Finish();
    EXPECT_GE(count({"--device", "5"}), 28) << "of 40 readings, less those of a second";

    const auto minutes = RunProgram({"history", "--data", data, "--device", "5", "--by", "day", "--csv"});
    EXPECT_TRUE(minutes.Out.starts_with("time,port,address,name,variable,readings,doubtful,lowest,mean,highest,on1"));
    EXPECT_NE(minutes.Out.find(",0,21.5,21.5,21.5,"), std::string::npos) << minutes.Out;

    const auto file = folder.Path + "/oven.csv";
    const std::vector<std::string> period{"--data", data, "--since", "1h", "--device", "5"};
    for (const std::string format : {"csv", "pdf"}) {
        std::vector<std::string> arguments{"export", "--format", format, "--out", file};
        arguments.insert(arguments.end(), period.begin(), period.end());
        const auto result = RunProgram(arguments);
        EXPECT_EQ(result.Status, 0) << result.Err;
        EXPECT_TRUE(ContentsOf(file).starts_with(format == "csv" ? "time,port" : "%PDF"));
    }
}

TEST(History, BadInputIsOneClearLine) {
    const TestFolder folder;
    const auto data = folder.Path + "/data";
    ExpectOneLine({"history", "--data", data}, 1, "there is no history in " + data);
    ASSERT_EQ(RunProgram({"run", "--data", data, "--for", "1s"}).Status, 0);
    const auto out = folder.Path + "/out";
    const struct {
        std::vector<std::string> Arguments;
        int Status;
        const char* Says;
    } cases[] = {
        {{"history", "--device", "Oven"}, 1, "device Oven; it has 5 Nimbo1"},
        {{"alarms", "--device", "Oven"}, 1, "device Oven; it has 5 Nimbo1"},
        {{"history", "--since", "soon"}, 2, "soon"},
        {{"history", "--since", "1h", "--until", "2h"}, 2, "--until"},
        {{"history", "--csv", "--json"}, 2, "--json"},
        {{"history", "--by", "week"}, 2, "--by"},
        {{"history", "--by", "day", "--summary"}, 2, "--summary"},
        {{"export", "--format", "csv", "--out", out, "--device", "77"}, 1, "device 77"},
        {{"export", "--format", "csv", "--out", "/no/such/folder/x"}, 1, "/no/such/folder/x"},
        {{"export", "--format", "pdf", "--out", out, "--from", out}, 2, "--from"},
        {{"export", "--format", "text", "--out", out, "--device", "5:sensor", "--since", "1h"}, 2, "--since"},
    };
    for (auto c : cases) {
        c.Arguments.insert(c.Arguments.end(), {"--data", data});
        ExpectOneLine(c.Arguments, c.Status, c.Says);
    }
    EXPECT_FALSE(std::filesystem::exists(out));
}

}  // namespace
}  // namespace orvix::tests
