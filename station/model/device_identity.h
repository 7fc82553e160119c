#pragma once

#include <cstdint>
#include <string>

#include "station/model/device_id.h"

namespace orvix::station {

/// Which device is at a place.
struct DeviceIdentity {
    std::string Port;
    int Address = 0;
    std::int32_t Model = 0;
    std::string Name;
    std::string SerialNumber;  ///< as people read it; empty: none is known
    /// What the device is called wherever it is, for ever: its serial number in lower case, all but a-z, 0-9, "_" and
    /// "-" as "-"; "d" and a number when it has told none by the time it is first spoken of. Empty until that is
    /// settled.
    std::string Identifier;
    std::string Remark;       ///< what people should know; empty: nothing
    bool HasAnswered = true;  ///< in this run; else it is what was last known of the place

    DeviceId Id() const { return IdOf(Port, Address); }
};

}  // namespace orvix::station
