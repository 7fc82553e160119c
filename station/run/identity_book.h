#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "station/model/device_identity.h"

namespace orvix::station {

/// Which devices there are, and which of them are where. A device that does not tell its serial number is what was last
/// at its place, as long as the model is the same.
class IdentityBook {
public:
    /// Devices that earlier runs have known; the one that was last at a place comes last.
    void Know(const std::vector<DeviceIdentity>& earlier);
    /// A device of this model is about to be read at a place. What was last known there, without a name; nothing when
    /// that was no device of the model.
    std::optional<DeviceIdentity> Expect(const DeviceId& place, std::int32_t model);
    /// Completes what is found out of a place with the identifier, which no other device has, and with a remark when
    /// the device is another one than before, or has the serial number of another. One that has an identifier keeps it:
    /// another station has given it.
    DeviceIdentity Take(DeviceIdentity found);
    /// Empty while it is not settled.
    std::string IdentifierOf(const DeviceId& place) const;
    /// The device at a place has stopped answering, or is read no more: it may turn up elsewhere.
    void MayHaveGone(const DeviceId& place);

private:
    struct Device {
        std::int32_t Model = 0;
        std::string SerialNumber;  ///< empty: it has told none
    };
    struct Place {
        std::string Identifier;
        bool Answers = false;
    };

    std::string Choose(DeviceIdentity& found);
    std::string NewNumber() const;
    std::string FreeIdentifier(const std::string& serialNumber) const;
    /// A device with this model and serial number that answers nowhere; empty: none. `owner` becomes the place of one
    /// that does.
    std::string Absent(const DeviceIdentity& found, const DeviceId*& owner) const;

    std::map<std::string, Device> m_Devices;  ///< by identifier
    std::map<DeviceId, Place> m_Places;
};

}  // namespace orvix::station
