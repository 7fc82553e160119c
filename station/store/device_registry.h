#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/sqlite_connection.h"

namespace orvix::station {

/// A device that a station has been told of or has found.
struct KnownDevice {
    std::string Port;  ///< its device file
    int Address = 0;
    std::int32_t Model = 0;
    std::string Name;          ///< empty: none given
    std::string SerialNumber;  ///< as the device sends it; empty while nobody has asked
};

/// The devices that are known, by port and address: the table known_devices(port, address, model, serial, name) of the
/// host database. Stations on other ports may use it at the same time. Failures raise General, naming the file.
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

private:
    platform::SqliteConnection m_Connection;
};

}  // namespace orvix::station
