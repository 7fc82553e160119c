#include <algorithm>

#include "host/variables.h"
#include "tests/support/test_host.h"

namespace orvix::tests {

namespace {

struct MemoryConnection : HostDatabase {
    explicit MemoryConnection(MemoryDatabase& database) : m_Database(database) {}

    void Reset() override { m_Open = false; }
    void Open(const std::string& file, const std::string& workgroupFile, const DatabaseAccount& account) override {
        m_Database.Opened.push_back(file + "|" + workgroupFile + "|" + account.User + "|" + account.Password);
        if (m_Database.OpenFails) throw Error(errors::General, "The database " + file + " cannot be opened");
        m_Open = true;
    }
    std::optional<std::string> GetMessage(const std::string& key) override {
        const auto found = m_Database.Messages.find(key);
        if (!m_Open || found == m_Database.Messages.end()) return std::nullopt;
        return found->second;
    }

    MemoryDatabase& m_Database;
    bool m_Open = false;
};

struct MemoryDevices : SQLDevices {
    explicit MemoryDevices(MemoryDatabase& database) : m_Database(database) {}

    void Path(const std::string& path) override { m_Database.Opened.push_back("devices in " + path); }
    void Load() override { m_Loaded = m_Database.Registered; }
    std::optional<RegisteredDevice> Find(const std::string& address) const override {
        const auto found = std::ranges::find(m_Loaded, address, &RegisteredDevice::Address);
        return found == m_Loaded.end() ? std::nullopt : std::optional(*found);
    }
    std::vector<std::string> Addresses() const override {
        std::vector<std::string> addresses;
        for (const auto& device : m_Loaded)
            addresses.push_back(device.Address);
        return addresses;
    }

    MemoryDatabase& m_Database;
    std::vector<RegisteredDevice> m_Loaded;
};

struct MemoryPlantDevices : SQLPlantDevices {
    explicit MemoryPlantDevices(MemoryDatabase& database) : m_Database(database) {}

    void Path(const std::string& path) override { m_Database.Opened.push_back("plant in " + path); }
    void Load() override { m_Devices.Load(); }
    std::string Name(const std::string& address) const override {
        const auto device = m_Devices.Find(address);
        return device ? m_Database.PlantNames[device->SerialNumber] : "";
    }
    void SetName(const std::string& serialNumber, const std::string& name) override {
        if (!IsVariableTag(serialNumber)) m_Database.PlantNames[serialNumber] = name;
    }

    MemoryDatabase& m_Database;
    MemoryDevices m_Devices{m_Database};
};

}  // namespace

std::shared_ptr<HostDatabase> MemoryDatabase::CreateConnection() {
    return std::make_shared<MemoryConnection>(*this);
}

std::unique_ptr<SQLDevices> MemoryDatabase::CreateDevices(std::shared_ptr<HostDatabase>) {
    return std::make_unique<MemoryDevices>(*this);
}

std::unique_ptr<SQLPlantDevices> MemoryDatabase::CreatePlantDevices(std::shared_ptr<HostDatabase>) {
    return std::make_unique<MemoryPlantDevices>(*this);
}

MemoryDatabase::MemoryDatabase() {
    static constexpr std::pair<ErrorNumber, const char*> kTexts[] = {
        {errors::TimeOut, "No answer in time"},
        {errors::NotExecuted, "Task not executed: %1"},
        {errors::Refused, "Refused by the device"},
        {errors::Checksum, "Wrong checksum"},
        {errors::BadFrame, "Bad frame"},
        {errors::Busy, "The line is in use"},
        {errors::OutOfRange, "%1 must be within %2"},
        {errors::NotConnected, "The device is not connected"},
        {errors::NoMissionData, "There is no status or log"},
    };
    for (const auto& [number, text] : kTexts)
        Messages["#" + std::to_string(number)] = text;
}

}  // namespace orvix::tests
