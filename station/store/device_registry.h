#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/sqlite_connection.h"
#include "station/model/device_identity.h"

namespace orvix::station {

/// A device that a station has been told of or has found.
struct KnownDevice {
    std::string Port;  ///< its device file
    int Address = 0;
    std::int32_t Model = 0;
    std::string Name;          ///< empty: none given
    std::string SerialNumber;  ///< as the device sends it; empty while nobody has asked
};

/// The devices that are known, by port and address, and what devices are called: the tables known_devices(port,
/// address, model, serial, name) and device_ids(id, serial, model, port, address) of the host database. Stations on
/// other ports may use it at the same time. Failures raise General, naming the file.
class DeviceRegistry {
public:
    /// `dataFolder` ends with "/" and holds a host database.
    explicit DeviceRegistry(const std::string& dataFolder);

    /// Those of a port, or all without one, by port and address.
    std::vector<KnownDevice> Devices(const std::optional<std::string>& port);
    /// Enters a device, in place of one at its address. An empty name keeps the one that it has.
    void Remember(const KnownDevice& device);
    bool Knows(const std::string& port, int address);
    /// These do nothing when no device is known at the address.
    void Rename(const std::string& port, int address, const std::string& name);
    void Remove(const std::string& port, int address);
    /// What devices are called, in the order in which they were kept. `SerialNumber` is empty of one that tells none.
    std::vector<DeviceIdentity> Identities();
    /// Keeps what a device is called, in place of what was known of that identifier.
    void Keep(const DeviceIdentity& identity);

private:
    platform::SqliteConnection m_Connection;
};

}  // namespace orvix::station
