#pragma once

#include <map>
#include <optional>

#include "host/apartment.h"

namespace orvix::station {

/// Which devices of a bus are left out of its rounds because they do not answer, and when each is asked all the same. A
/// device that is not there costs the time-outs of all attempts; the others are to be read as if it were not in the
/// list. Times are of one steady clock.
class SilentDevices {
public:
    /// `every`: the period in which the devices of the bus are read.
    explicit SilentDevices(Duration every);

    /// What became of a poll of a device.
    enum class Poll {
        Answered,    ///< with a value, a refusal or anything else that is its own answer
        Unanswered,  ///< in none of its attempts
        Unknown,     ///< the line was lost, or nothing was sent
    };
    void Ended(int address, Poll poll, Duration now);
    void Forget(int address) { m_Devices.erase(address); }

    /// Whether the device is left out of the rounds, and not being asked either.
    bool IsLeftOut(int address) const;
    /// Whether any device is left out, so that NextToAsk is to be called once a round.
    bool Any() const;
    /// The device that is to be asked in this round: of those whose time has come the one that has waited longest, and
    /// none while another one is being asked.
    std::optional<int> NextToAsk(Duration now);

private:
    struct Device {
        int Unanswered = 0;  ///< polls in a row
        bool IsAsked = false;
        Duration Wait{0};
        Duration Due{0};
    };

    bool IsSilent(const Device& device) const;
    void AskAllAt(Duration now);

    const Duration m_Every;
    std::map<int, Device> m_Devices;
};

}  // namespace orvix::station
