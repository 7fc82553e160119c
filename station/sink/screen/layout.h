#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "station/model/reading.h"
#include "station/sink/screen/styled_line.h"
#include "station/sink/screen/trend.h"

namespace orvix::station {

/// A line below the table.
struct ScreenEvent {
    std::int64_t UnixMilliseconds = 0;
    std::string Text;
    Style Look = Style::Plain;
};

/// Everything that the screen shows.
struct ScreenContent {
    std::vector<Reading> Values;  ///< by port and address; the time is 0 of those not yet heard
    std::map<DeviceId, Trend> Trends;
    std::deque<ScreenEvent> Events;  ///< the oldest first
    std::string Progress;            ///< of something that takes its time; empty: of nothing
    std::int64_t Readings = 0;
    std::int64_t FailedReadings = 0;
    std::int64_t UnixMilliseconds = 0;  ///< now
    Duration Running{0};
    std::size_t FirstDevice = 0;  ///< of Values, the uppermost in the table
    bool IsUtf8 = true;           ///< what the terminal shows; else ASCII alone
};

struct ScreenSize {
    int Columns = 80;
    int Rows = 24;
};

/// The screen as lines, at most as many and as wide as the size says: title, table of devices, latest events, status.
std::vector<StyledLine> LayOut(const ScreenContent& content, ScreenSize size);

/// How many devices the table shows at once.
std::size_t DevicesShown(const ScreenContent& content, ScreenSize size);

}  // namespace orvix::station
