#pragma once

#include <cstdint>
#include <optional>

#include "station/model/station_setup.h"

namespace orvix::station {

/// Tells what to record of the readings of one variable of one device.
class ChangeFilter {
public:
    /// Whether this good reading is to be recorded. Times are milliseconds since 1970.
    bool Passes(const ChangeSetup& setup, std::int64_t time, double value);
    /// Something else was recorded: the next good reading is a change in any case.
    void Interrupt() { m_Recorded.reset(); }

private:
    struct Recorded {
        std::int64_t Time;
        double Value;
    };
    std::optional<Recorded> m_Recorded;
};

}  // namespace orvix::station
