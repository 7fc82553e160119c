#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "host/date.h"
#include "platform/virtual_apartment.h"
#include "station/sink/lines/lines.h"
#include "station/sink/lines/output_listener.h"
#include "tests/station/readings.h"

namespace orvix::tests {
namespace {

TEST(Lines, ADeviceThatTakesAnothersPlaceIsHeardOfAlthoughItIsAsOffline) {
    std::ostringstream out;
    std::ostringstream err;
    const auto lines = station::MakePlainOutput(out, err);
    platform::VirtualScheduler scheduler(FromUnixMilliseconds(0));
    platform::VirtualApartment apartment(scheduler);
    station::OutputListener listener(*lines, apartment, {});
    const auto failed = ReadingAt(0, "p", 5);
    const auto shown = [&] {
        const auto text = out.str();
        return std::count(text.begin(), text.end(), '\n');
    };
    listener.OnReading(failed);
    listener.OnReading(failed);
    EXPECT_EQ(shown(), 1);
    EXPECT_NE(listener.Summary(), "");
    listener.OnDeviceGone(failed.Id());
    EXPECT_EQ(listener.Summary(), "");
    listener.OnReading(failed);
    EXPECT_EQ(shown(), 2);
}

}  // namespace
}  // namespace orvix::tests
