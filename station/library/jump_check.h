#pragma once

#include <map>
#include <optional>
#include <vector>

#include "host/apartment.h"
#include "station/model/reading.h"

namespace orvix::station {

/// Holds back a value that is too far from the last good one until a second reading at once has confirmed it or not. Of
/// the devices of one bus; times are of one steady clock.
///
/// While answers of a device come damaged, some of the damaged ones pass all checks: then a temperature that has moved
/// by more than half a degree, other inputs, and a value without a good one to compare it with are confirmed, too.
class JumpCheck {
public:
    /// `maxStep`: in degrees; nothing: any step is fine. `fresh`: for as long a good value is compared with.
    JumpCheck(std::optional<double> maxStep, Duration fresh) : m_MaxStep(maxStep), m_Fresh(fresh) {}

    struct Result {
        std::vector<Reading> Told;  ///< that are known to be what they are now, in their order
        bool AskAgain = false;      ///< the device is to be read again at once
    };
    /// `isLineIll`: answers of the device have come damaged of late.
    Result Take(Reading reading, Duration now, bool isLineIll);
    /// The device is watched no longer.
    void Forget(int address) { m_Devices.erase(address); }
    /// What is held back: nothing will confirm it any more.
    std::vector<Reading> TakeHeld();

private:
    struct Device {
        ReadingValue LastGood;  ///< nothing while there has been none
        Duration LastGoodAt{0};
        std::optional<Reading> Held;
    };

    bool IsNear(const ReadingValue& one, const ReadingValue& other, bool isLineIll) const;
    bool Jumps(const Device& device, const Reading& reading, Duration now, bool isLineIll) const;

    std::optional<double> m_MaxStep;
    Duration m_Fresh;
    std::map<int, Device> m_Devices;
};

}  // namespace orvix::station
