#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvix {

/// The host's catalogue of numbered messages.
class MessageProvider {
public:
    virtual ~MessageProvider() = default;
    /// Text for a key, "#" and the message number in signed decimal; nothing when the catalogue has none.
    virtual std::optional<std::string> GetMessage(const std::string& key) = 0;
};

/// Account of the host database, nine characters each.
struct DatabaseAccount {
    std::string User;
    std::string Password;
};

/// Names of its two files in the host's data folder.
inline constexpr char kDatabaseFile[] = "Orvix.mdb";
inline constexpr char kWorkgroupFile[] = "Orvix.mdw";

/// Connection to the host database, which also is its message catalogue. A closed one has no messages.
class HostDatabase : public MessageProvider {
public:
    /// Closes the connection.
    virtual void Reset() = 0;
    /// Opens the database file secured by the workgroup file. Raises General, saying what is wrong: a missing or broken
    /// file, or an account that the workgroup file does not know.
    virtual void Open(const std::string& file, const std::string& workgroupFile, const DatabaseAccount& account) = 0;
};

/// A device that the host has registered.
struct RegisteredDevice {
    std::string Address;
    std::int32_t DeviceModel = 0;
    std::string SerialNumber;
};

/// List of the registered devices.
class SQLDevices {
public:
    virtual ~SQLDevices() = default;
    virtual void Path(const std::string& rhs) = 0;
    virtual void Load() = 0;
    virtual std::optional<RegisteredDevice> Find(const std::string& address) const = 0;
    /// In order of registration.
    virtual std::vector<std::string> Addresses() const = 0;
};

/// The plant's naming of devices.
class SQLPlantDevices {
public:
    virtual ~SQLPlantDevices() = default;
    virtual void Path(const std::string& rhs) = 0;
    virtual void Load() = 0;
    /// Plant name of the device registered at an address; empty when it has none.
    virtual std::string Name(const std::string& address) const = 0;
    /// Names the device of that serial number. A serial number that is still a variable's tag is ignored.
    virtual void SetName(const std::string& serialNumber, const std::string& name) = 0;
};

class Database {
public:
    virtual ~Database() = default;
    virtual std::shared_ptr<HostDatabase> CreateConnection() = 0;
    virtual std::unique_ptr<SQLDevices> CreateDevices(std::shared_ptr<HostDatabase> connection) = 0;
    virtual std::unique_ptr<SQLPlantDevices> CreatePlantDevices(std::shared_ptr<HostDatabase> connection) = 0;
    /// The account that the host's configuration gives to this library.
    virtual DatabaseAccount Account() = 0;
};

}  // namespace orvix
