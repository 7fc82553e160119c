#pragma once

#include <cstddef>
#include <deque>
#include <string>

#include "station/model/reading.h"

namespace orvix::station {

/// How the latest readings of one device went, in little space.
class Trend {
public:
    /// As many as there are columns in the widest trend line.
    static constexpr std::size_t kMostReadings = 40;

    void Take(const ReadingValue& value);

    /// A character a reading, the latest last: temperatures as heights between the lowest and the highest shown, inputs
    /// as low while they stay and high where they changed, failed readings as crosses. Blocks, or ASCII characters.
    std::string Text(std::size_t columns, bool blocks) const;

private:
    std::deque<ReadingValue> m_Values;
};

}  // namespace orvix::station
