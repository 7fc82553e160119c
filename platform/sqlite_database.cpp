#include "platform/sqlite_database.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <optional>

#include "host/error.h"
#include "host/variables.h"
#include "platform/sqlite_connection.h"
#include "platform/workgroup_file.h"

namespace orvix::platform {

namespace {

/// Number of a message key: "#" and a signed decimal.
std::optional<std::int32_t> KeyNumber(const std::string& key) {
    std::int32_t number = 0;
    const char* end = key.data() + key.size();
    if (!key.starts_with('#')) return std::nullopt;
    const auto read = std::from_chars(key.data() + 1, end, number);
    if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
    return number;
}

using Messages = std::map<std::int32_t, std::string>;

Messages ReadMessages(SqliteConnection& connection) {
    Messages messages;
    SqliteStatement statement(connection, "SELECT number, text FROM messages");
    while (statement.Step())
        messages[statement.Number(0)] = statement.Text(1);
    return messages;
}

class SqliteHostDatabase : public HostDatabase {
public:
    void Reset() override;
    void Open(const std::string& file, const std::string& workgroupFile, const DatabaseAccount& account) override;
    std::optional<std::string> GetMessage(const std::string& key) override;

    SqliteConnection& Connection() {
        if (!m_Connection) throw Error(errors::General, "the host database is not open");
        return *m_Connection;
    }

private:
    std::optional<SqliteConnection> m_Connection;
    // Texts are asked for on behalf of errors, while a bus works: neither a disk nor another program may hold that up.
    Messages m_Messages;
};

void SqliteHostDatabase::Reset() {
    m_Connection.reset();
    m_Messages.clear();
}

void SqliteHostDatabase::Open(const std::string& file, const std::string& workgroupFile,
                              const DatabaseAccount& account) {
    Reset();
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        throw Error(errors::General, "host database " + file + ": there is no such file");
    }
    const DatabaseAccount known = ReadWorkgroupFile(workgroupFile);
    if (account.User != known.User || account.Password != known.Password) {
        throw Error(errors::General, "host database " + file + ": account refused");
    }
    SqliteConnection connection(file);
    const std::int32_t version = connection.Version();
    if (version != SqliteConnection::kVersion) {
        connection.Fail("layout version " + std::to_string(version) + " is not supported");
    }
    m_Messages = ReadMessages(connection);
    m_Connection.emplace(std::move(connection));
}

std::optional<std::string> SqliteHostDatabase::GetMessage(const std::string& key) {
    const auto number = KeyNumber(key);
    if (!number) return std::nullopt;
    const auto message = m_Messages.find(*number);
    if (message == m_Messages.end()) return std::nullopt;
    return message->second;
}

std::vector<RegisteredDevice> ReadDevices(SqliteConnection& connection) {
    std::vector<RegisteredDevice> devices;
    SqliteStatement statement(connection, "SELECT address, model, serial FROM devices ORDER BY rowid");
    while (statement.Step())
        devices.push_back({statement.Text(0), statement.Number(1), statement.Text(2)});
    return devices;
}

std::optional<RegisteredDevice> FindDevice(const std::vector<RegisteredDevice>& devices, const std::string& address) {
    const auto device = std::find_if(devices.begin(), devices.end(),
                                     [&](const RegisteredDevice& candidate) { return candidate.Address == address; });
    if (device == devices.end()) return std::nullopt;
    return *device;
}

class SqliteDevices : public SQLDevices {
public:
    explicit SqliteDevices(std::shared_ptr<SqliteHostDatabase> connection) : m_Connection(std::move(connection)) {}

    /// The connection knows its file.
    void Path(const std::string&) override {}
    void Load() override { m_Devices = ReadDevices(m_Connection->Connection()); }
    std::optional<RegisteredDevice> Find(const std::string& address) const override {
        return FindDevice(m_Devices, address);
    }
    std::vector<std::string> Addresses() const override {
        std::vector<std::string> addresses;
        for (const RegisteredDevice& device : m_Devices)
            addresses.push_back(device.Address);
        return addresses;
    }

private:
    std::shared_ptr<SqliteHostDatabase> m_Connection;
    std::vector<RegisteredDevice> m_Devices;
};

class SqlitePlantDevices : public SQLPlantDevices {
public:
    explicit SqlitePlantDevices(std::shared_ptr<SqliteHostDatabase> connection) : m_Connection(std::move(connection)) {}

    /// The connection knows its file.
    void Path(const std::string&) override {}
    void Load() override;
    std::string Name(const std::string& address) const override;
    void SetName(const std::string& serialNumber, const std::string& name) override;

private:
    std::shared_ptr<SqliteHostDatabase> m_Connection;
    std::vector<RegisteredDevice> m_Devices;
    std::map<std::string, std::string> m_Names;  ///< by serial number
};

void SqlitePlantDevices::Load() {
    SqliteConnection& connection = m_Connection->Connection();
    m_Devices = ReadDevices(connection);
    m_Names.clear();
    SqliteStatement statement(connection, "SELECT serial, name FROM plant_names");
    while (statement.Step())
        m_Names[statement.Text(0)] = statement.Text(1);
}

std::string SqlitePlantDevices::Name(const std::string& address) const {
    const auto device = FindDevice(m_Devices, address);
    if (!device) return {};
    const auto name = m_Names.find(device->SerialNumber);
    return name == m_Names.end() ? std::string() : name->second;
}

void SqlitePlantDevices::SetName(const std::string& serialNumber, const std::string& name) {
    // Until a device has told its serial number, the variable holds its own tag, or nothing: neither names a device.
    if (serialNumber.empty() || IsVariableTag(serialNumber)) return;
    SqliteStatement statement(m_Connection->Connection(),
                              "INSERT INTO plant_names(serial, name) VALUES(?, ?) "
                              "ON CONFLICT(serial) DO UPDATE SET name = excluded.name");
    statement.Bind(1, serialNumber).Bind(2, name).Step();
    m_Names[serialNumber] = name;
}

std::shared_ptr<SqliteHostDatabase> Own(const std::shared_ptr<HostDatabase>& connection) {
    auto own = std::dynamic_pointer_cast<SqliteHostDatabase>(connection);
    if (!own) throw Error(errors::General, "the connection is not one of this database");
    return own;
}

}  // namespace

std::shared_ptr<HostDatabase> SqliteDatabase::CreateConnection() {
    return std::make_shared<SqliteHostDatabase>();
}

std::unique_ptr<SQLDevices> SqliteDatabase::CreateDevices(std::shared_ptr<HostDatabase> connection) {
    return std::make_unique<SqliteDevices>(Own(connection));
}

std::unique_ptr<SQLPlantDevices> SqliteDatabase::CreatePlantDevices(std::shared_ptr<HostDatabase> connection) {
    return std::make_unique<SqlitePlantDevices>(Own(connection));
}

}  // namespace orvix::platform
