#pragma once

#include <map>
#include <optional>

#include "host/apartment.h"

namespace orvix::station {

/// Which devices of a bus are to be asked for their serial numbers: whoever answers for the first time, or again after
/// a time without answers, may be another device; and once a day. Times are of one steady clock.
class SerialPlan {
public:
    /// A reading of the device has ended.
    void Read(int address, bool isGood);
    /// Whether a device that answers is to be asked now.
    bool IsDue(int address, Duration now) const;
    /// Whether it is known which device answers; until then its readings may be those of another one.
    bool IsSettled(int address) const;

    void Asked(int address);
    /// It has told its serial number, or that request has failed.
    void Ended(int address, bool isTold, Duration now);
    void Forget(int address) { m_Devices.erase(address); }

private:
    struct Device {
        int FailedReadings = 0;  ///< in a row
        int FailedRequests = 0;  ///< in a row
        bool IsAsked = false;
        std::optional<Duration> Settled{};
    };

    std::map<int, Device> m_Devices;
};

}  // namespace orvix::station
