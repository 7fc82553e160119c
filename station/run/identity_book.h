#pragma once

#include <map>
#include <string>

#include "station/model/device_identity.h"

namespace orvix::station {

/// Which devices answer where, as far as this run of the station has heard. A device that does not tell its serial
/// number keeps what it told before.
class IdentityBook {
public:
    /// Completes what a bus has found out: the identifier, which no other place has, and a remark when the device is
    /// another one than before, or has the serial number of another.
    DeviceIdentity Take(DeviceIdentity found);
    /// Empty while no serial number is known.
    std::string IdentifierOf(const DeviceId& place) const;
    void Forget(const DeviceId& place) { m_Identities.erase(place); }

private:
    std::string FreeIdentifier(const DeviceIdentity& found, const DeviceIdentity*& owner) const;

    std::map<DeviceId, DeviceIdentity> m_Identities;
};

}  // namespace orvix::station
