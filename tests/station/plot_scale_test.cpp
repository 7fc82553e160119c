#include "station/report/plot_scale.h"

#include <gtest/gtest.h>

#include "host/date.h"

namespace orvix::station {
namespace {

std::string Labels(const std::vector<Tick>& ticks) {
    std::string labels;
    for (const auto& tick : ticks)
        labels += tick.Label + (tick.Day.empty() ? " " : "@" + tick.Day + " ");
    return labels;
}

TEST(PlotScale, NumberTicksAreRoundAndEncloseTheValues) {
    const struct {
        double Low, High;
        const char* Labels;
    } cases[] = {
        {8.9, 31.2, "5 10 15 20 25 30 35 "},
        {-0.31, 0.22, "-0.4 -0.3 -0.2 -0.1 0.0 0.1 0.2 0.3 "},
        {20, 20, "19.4 19.6 19.8 20.0 20.2 20.4 20.6 "},
        {-40, 85, "-50 0 50 100 "},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Labels(NumberTicks(c.Low, c.High, 6)), c.Labels);
}

TEST(PlotScale, TimeTicksStandAtRoundTimesAndTellTheDayOnce) {
    const Date begin = FromCivilTime({2026, 11, 20, 22, 7, 0});
    const struct {
        int Minutes;
        const char* Labels;
    } cases[] = {
        {40, "22:10@20/11/2026 22:15 22:20 22:25 22:30 22:35 22:40 22:45 "},
        {300, "23:00@20/11/2026 00:00@21/11/2026 01:00 02:00 03:00 "},
        {5 * 1440, "21/11/26 22/11/26 23/11/26 24/11/26 25/11/26 "},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Labels(TimeTicks(begin.Days, AddMinutes(begin, c.Minutes).Days, 8)), c.Labels) << c.Minutes;
    EXPECT_LE(TimeTicks(begin.Days, begin.Days + 1'000'000, 8).size(), 9U);
}

}  // namespace
}  // namespace orvix::station
