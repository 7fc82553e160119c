#include "station/store/device_registry.h"

#include "platform/sqlite_database.h"

namespace orvix::station {

using platform::SqliteStatement;

DeviceRegistry::DeviceRegistry(const std::string& dataFolder) : m_Connection(dataFolder + kDatabaseFile) {
    m_Connection.Execute(
        "CREATE TABLE IF NOT EXISTS known_devices("
        "port TEXT, address INTEGER, model INTEGER, serial TEXT, name TEXT, PRIMARY KEY(port, address));"
        "CREATE TABLE IF NOT EXISTS device_ids("
        "id TEXT PRIMARY KEY, serial TEXT, model INTEGER, port TEXT, address INTEGER)");
}

std::vector<KnownDevice> DeviceRegistry::Devices(const std::optional<std::string>& port) {
    SqliteStatement statement(m_Connection,
                              "SELECT port, address, model, name, serial FROM known_devices "
                              "WHERE port = ?1 OR ?2 ORDER BY port, address");
    statement.Bind(1, port.value_or("")).Bind(2, port ? 0 : 1);
    std::vector<KnownDevice> devices;
    while (statement.Step()) {
        devices.push_back(
            {statement.Text(0), statement.Number(1), statement.Number(2), statement.Text(3), statement.Text(4)});
    }
    return devices;
}

void DeviceRegistry::Remember(const KnownDevice& device) {
    SqliteStatement statement(
        m_Connection,
        "INSERT INTO known_devices(port, address, model, name, serial) VALUES(?, ?, ?, ?, ?) "
        "ON CONFLICT(port, address) DO UPDATE SET model = excluded.model, serial = excluded.serial, "
        "name = iif(excluded.name = '', name, excluded.name)");
    statement.Bind(1, device.Port).Bind(2, std::int32_t{device.Address}).Bind(3, device.Model);
    statement.Bind(4, device.Name).Bind(5, device.SerialNumber).Step();
}

bool DeviceRegistry::Knows(const std::string& port, int address) {
    SqliteStatement statement(m_Connection, "SELECT 1 FROM known_devices WHERE port = ? AND address = ?");
    return statement.Bind(1, port).Bind(2, std::int32_t{address}).Step();
}

void DeviceRegistry::Rename(const std::string& port, int address, const std::string& name) {
    SqliteStatement statement(m_Connection, "UPDATE known_devices SET name = ? WHERE port = ? AND address = ?");
    statement.Bind(1, name).Bind(2, port).Bind(3, std::int32_t{address}).Step();
}

void DeviceRegistry::Remove(const std::string& port, int address) {
    SqliteStatement statement(m_Connection, "DELETE FROM known_devices WHERE port = ? AND address = ?");
    statement.Bind(1, port).Bind(2, std::int32_t{address}).Step();
}

std::vector<DeviceIdentity> DeviceRegistry::Identities() {
    SqliteStatement row(m_Connection, "SELECT port, address, model, serial, id FROM device_ids ORDER BY rowid");
    std::vector<DeviceIdentity> identities;
    while (row.Step()) {
        identities.push_back({.Port = row.Text(0),
                              .Address = row.Number(1),
                              .Model = row.Number(2),
                              .Name = {},
                              .SerialNumber = row.Text(3),
                              .Identifier = row.Text(4),
                              .Remark = {},
                              .HasAnswered = false});
    }
    return identities;
}

void DeviceRegistry::Keep(const DeviceIdentity& identity) {
    SqliteStatement put(m_Connection,
                        "REPLACE INTO device_ids(port, address, model, serial, id) VALUES(?, ?, ?, ?, ?)");
    put.Bind(1, identity.Port).Bind(2, std::int32_t{identity.Address}).Bind(3, identity.Model);
    put.Bind(4, identity.SerialNumber).Bind(5, identity.Identifier).Step();
}

}  // namespace orvix::station
