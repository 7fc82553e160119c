#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "station/model/bus_setup.h"
#include "station/model/reading.h"

namespace orvix::station {

/// The latest value of every device of a station, and how much it is worth:
///
///   Good     the latest reading succeeded, at most two periods and a second ago
///   Doubtful the same, but its value may be wrong
///   Offline  there has been no good value; or the latest three readings failed; or the latest good value is older than
///            ten periods and five seconds
///   Stale    in between
class LatestValues {
public:
    /// Has a device that has not been heard of among the values: offline, at the time 0.
    void Expect(const std::string& port, const DeviceSetup& device, std::chrono::milliseconds every);
    /// Takes a reading in, and completes it with its quality and the latest good value. `every` is the device's period.
    /// Times are of a clock that nobody sets and that goes on while the machine sleeps.
    void Take(Reading& reading, std::chrono::milliseconds every, Duration now);
    /// The age at which a good value is none any more.
    static std::chrono::milliseconds OfflineAfter(std::chrono::milliseconds every);
    /// A device has stopped answering: it is offline until a reading succeeds.
    void Lose(const DeviceId& device);
    /// Drops what is known of a device.
    void Forget(const DeviceId& device) { m_Entries.erase(device); }
    /// The latest reading of each device, by port and address, with the age and quality that it has at this time.
    std::vector<Reading> At(Duration now) const;

private:
    struct Entry {
        Reading Latest;
        std::chrono::milliseconds Every{0};
        int Failures = 0;     ///< in a row, up to now
        bool IsLost = false;  ///< since the latest reading
        Duration TakenAt{0};
        Duration GoodAt{0};
    };
    static void Judge(Reading& reading, const Entry& entry, Duration now);

    std::map<DeviceId, Entry> m_Entries;
};

}  // namespace orvix::station
