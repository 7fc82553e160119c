#pragma once

#include <string>

#include "station/model/device_id.h"

namespace orvix::station {

/// Which device answers at a place.
struct DeviceIdentity {
    std::string Port;
    int Address = 0;
    std::string Name;
    std::string SerialNumber;  ///< as people read it; empty: it does not tell one
    /// What the device is called wherever it is: its serial number in lower case, all but a-z, 0-9, "_" and "-" as
    /// "-". Empty without a serial number.
    std::string Identifier;
    std::string Remark;  ///< what people should know; empty: nothing

    DeviceId Id() const { return IdOf(Port, Address); }
};

}  // namespace orvix::station
