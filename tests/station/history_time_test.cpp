#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "station/model/local_time.h"
#include "station/store/age_rule.h"
#include "station/store/change_filter.h"
#include "station/store/clock_watch.h"
#include "station/store/roll_up.h"

namespace orvix::tests {
namespace {

using namespace station;

TEST(ClockWatch, TellsStepsAndSleepApart) {
    constexpr std::int64_t kNow = 1'795'000'000'000;
    const struct {
        const char* What;
        ClockTimes Later;  // by so much
        std::optional<Interruption::Kind> Told;
        std::int64_t Step;
    } cases[] = {
        {"time goes on", {3'600'000, 3'600'000, 3'600'000}, {}, 0},
        {"a time service corrects", {60'500, 1000, 1000}, {}, 0},
        {"forward", {3'601'000, 1000, 1000}, Interruption::Kind::ClockSet, 3'600'000},
        {"back by years", {-90'000'000'000, 1000, 1000}, Interruption::Kind::ClockSet, -90'000'001'000},
        {"the machine slept", {3'600'000, 3'600'000, 10}, Interruption::Kind::Slept, 0},
        {"it slept and the clock was set", {0, 3'600'000, 10}, Interruption::Kind::ClockSet, -3'600'000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.What);
        ClockWatch watch;
        EXPECT_FALSE(watch.Take({kNow, 5000, 4000}));
        const auto told = watch.Take({kNow + c.Later.Unix, 5000 + c.Later.Boot, 4000 + c.Later.Awake});
        ASSERT_EQ(told.has_value(), c.Told.has_value());
        if (!told) continue;
        EXPECT_EQ(told->What, *c.Told);
        EXPECT_EQ(told->From, kNow);
        EXPECT_EQ(told->Step, c.Step);
    }
}

TEST(AgeRule, RestsUntilTheClockHasRunForADay) {
    constexpr std::int64_t kDay = 86'400'000;
    const struct {
        std::optional<std::int64_t> Newest;
        bool Rests;
    } starts[] = {{{}, false}, {100 * kDay, false}, {101 * kDay, false}, {101 * kDay + 1, true}, {98 * kDay, true}};
    for (const auto& start : starts) {
        AgeRule rule;
        rule.Start(100 * kDay, 1000, start.Newest);
        EXPECT_EQ(rule.Rests(1000), start.Rests);
        EXPECT_FALSE(rule.Rests(1000 + kDay));
        rule.ClockWasSet(2000 + kDay);
        EXPECT_TRUE(rule.Rests(1999 + 2 * kDay));
        EXPECT_FALSE(rule.Rests(2000 + 2 * kDay));
    }
}

TEST(ChangeFilter, PassesChangesAndASignOfLife) {
    const ChangeSetup setup{.OnlyChanges = true, .DeadBand = 0.5, .LongestSilence = std::chrono::seconds(60)};
    ChangeFilter filter;
    const struct {
        std::int64_t Time;
        double Value;
        bool Passes;
    } readings[] = {{0, 20, true},       {1000, 20.5, false}, {2000, 20.6, true}, {3000, 20.1, false},
                    {4000, 20.05, true}, {63'999, 20, false}, {64'000, 20, true}, {65'000, 21, true}};
    for (const auto& reading : readings)
        EXPECT_EQ(filter.Passes(setup, reading.Time, reading.Value), reading.Passes) << reading.Time;
    filter.Interrupt();
    EXPECT_TRUE(filter.Passes(setup, 66'000, 21));
    EXPECT_TRUE(ChangeFilter().Passes({}, 0, 1));
}

TEST(RollUp, MakesMinutesOfTemperatures) {
    RollUp rollUp(false);
    rollUp.AddGood(10 * kMinute + 59'000, 20);
    rollUp.AddGood(11 * kMinute, 22);
    rollUp.AddDoubtful(11 * kMinute + 1000);
    rollUp.AddGood(11 * kMinute + 500, 21);
    rollUp.AddFailed(13 * kMinute);
    EXPECT_TRUE(rollUp.IsBehind(13 * kMinute - 1));
    const auto minutes = rollUp.TakeComplete();
    ASSERT_EQ(minutes.size(), 2U);
    EXPECT_EQ(minutes[0].Minute, 10);
    const auto& figures = minutes[1].Figures;
    EXPECT_EQ(minutes[1].Minute, 11);
    EXPECT_EQ(figures.Count, 2);
    EXPECT_EQ(figures.Doubtful, 1);
    EXPECT_EQ(figures.Lowest, 21);
    EXPECT_EQ(figures.Highest, 22);
    EXPECT_EQ(figures.Sum, 43);
    EXPECT_EQ(rollUp.CompleteUntil(), 13 * kMinute);
    rollUp.End(13 * kMinute + 5);
    EXPECT_TRUE(rollUp.TakeComplete().empty()) << "a minute without readings is none";
}

// Inputs are on until a reading says otherwise, over the ends of minutes.
TEST(RollUp, MakesMinutesOfInputs) {
    RollUp rollUp(true, 5 * kMinute);
    rollUp.AddGood(10 * kMinute + 30'000, 0b101);
    rollUp.AddGood(12 * kMinute + 10'000, 0b100);
    rollUp.AddFailed(12 * kMinute + 20'000);
    rollUp.AddGood(12 * kMinute + 50'000, 0b001);
    rollUp.End(30 * kMinute);
    const auto minutes = rollUp.TakeComplete();
    Figures sum;
    for (const auto& minute : minutes) {
        EXPECT_LE(minute.Figures.Observed, kMinute);
        sum.Add(minute.Figures);
    }
    ASSERT_EQ(minutes.size(), 8U);
    EXPECT_EQ(minutes[0].Figures.On[0], 30'000);
    EXPECT_EQ(minutes[1].Figures.On[0], kMinute);
    EXPECT_EQ(minutes[1].Figures.Count, 0);
    EXPECT_EQ(minutes[2].Figures.On[2], 20'000);
    EXPECT_EQ(minutes[2].Figures.Observed, 30'000);
    EXPECT_EQ(sum.Observed, 110'000 + 5 * kMinute) << "the last state holds for the longest time";
    EXPECT_EQ(sum.Count, 3);
}

/// A time zone for one test.
struct LocalZone {
    explicit LocalZone(const char* zone) {
        if (const char* before = std::getenv("TZ")) Before = before;
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    LocalZone(const LocalZone&) = delete;
    LocalZone& operator=(const LocalZone&) = delete;
    ~LocalZone() {
        if (Before.empty()) ::unsetenv("TZ");
        if (!Before.empty()) ::setenv("TZ", Before.c_str(), 1);
        ::tzset();
    }
    std::string Before;
};

TEST(LocalTime, DaysAndHoursOfThePlace) {
    // Zones are given by their rules, so that no table of zones is needed.
    constexpr char kBerlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";
    constexpr char kMidnight[] =
        "AAA0BBB,M3.5.0/0,M10.5.0/1";  // at summer's begin there is no midnight, at its end two
    const struct {
        const char* Zone;
        std::int64_t Time;  // seconds
        std::int64_t Begin;
        int Hours;
    } days[] = {
        {"UTC0", 1'774'700'000, 1'774'656'000, 24},     {kBerlin, 1'774'700'000, 1'774'652'400, 24},  // 2026-03-28
        {kBerlin, 1'774'780'000, 1'774'738'800, 23},                                                  // 2026-03-29
        {kBerlin, 1'792'900'000, 1'792'879'200, 25},                                                  // 2026-10-25
        {"IST-5:30", 1'774'700'000, 1'774'636'200, 24}, {kMidnight, 1'774'780'000, 1'774'742'400, 23},
        {kMidnight, 1'792'900'000, 1'792'882'800, 25},
    };
    for (const auto& day : days) {
        SCOPED_TRACE(std::string(day.Zone) + " " + std::to_string(day.Time));
        const LocalZone zone(day.Zone);
        const auto begin = BeginOf(CalendarSpan::Day, day.Time * 1000);
        EXPECT_EQ(begin, day.Begin * 1000);
        EXPECT_EQ(EndOf(CalendarSpan::Day, day.Time * 1000) - begin, day.Hours * kHour);
        EXPECT_EQ(BeginOf(CalendarSpan::Day, begin), begin);
        EXPECT_EQ(BeginOf(CalendarSpan::Day, begin + day.Hours * kHour - 1), begin);
    }
    const LocalZone zone("IST-5:30");
    EXPECT_EQ(BeginOf(CalendarSpan::Hour, 10 * kHour), 9 * kHour + 30 * kMinute);
    EXPECT_EQ(EndOf(CalendarSpan::Hour, 10 * kHour), 10 * kHour + 30 * kMinute);
    EXPECT_EQ(BeginOf(CalendarSpan::Minute, 61'000), 60'000);
}

}  // namespace
}  // namespace orvix::tests
