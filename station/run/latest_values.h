#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "station/model/bus_setup.h"
#include "station/model/reading.h"

namespace orvix::station {

/// The latest value of every device of a station, and how much it is worth:
///
///   Good     the latest reading succeeded, at most two periods and a second ago
///   Offline  there has been no good value; or the latest three readings failed; or the latest good value is older than
///            ten periods and five seconds
///   Stale    in between
class LatestValues {
public:
    /// Has a device that has not been heard of among the values: offline, at the time 0.
    void Expect(const std::string& port, const DeviceSetup& device, std::chrono::milliseconds every);
    /// Takes a reading in, and completes it with its quality and the latest good value. `every` is the device's period.
    void Take(Reading& reading, std::chrono::milliseconds every);
    /// Drops what is known of a device.
    void Forget(const DeviceId& device) { m_Entries.erase(device); }
    /// The latest reading of each device, by port and address, with the quality that it has at this time.
    std::vector<Reading> At(std::int64_t unixMilliseconds) const;

private:
    struct Entry {
        Reading Latest;
        std::chrono::milliseconds Every{0};
        int Failures = 0;  ///< in a row, up to now
    };
    static Quality QualityOf(const Entry& entry, std::int64_t unixMilliseconds);

    std::map<DeviceId, Entry> m_Entries;
};

}  // namespace orvix::station
