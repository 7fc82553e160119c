#include <algorithm>

#include "tests/support/test_host.h"

namespace orvix::tests {

namespace {

class MemoryConnection : public HostDatabase {
public:
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

private:
    MemoryDatabase& m_Database;
    bool m_Open = false;
};

std::optional<RegisteredDevice> FindDevice(const std::vector<RegisteredDevice>& devices, const std::string& address) {
    const auto found = std::find_if(devices.begin(), devices.end(),
                                    [&](const RegisteredDevice& device) { return device.Address == address; });
    if (found == devices.end()) return std::nullopt;
    return *found;
}

class MemoryDevices : public SQLDevices {
public:
    explicit MemoryDevices(MemoryDatabase& database) : m_Database(database) {}

    void Path(const std::string&) override {}
    void Load() override { m_Loaded = m_Database.Registered; }
    std::optional<RegisteredDevice> Find(const std::string& address) const override {
        return FindDevice(m_Loaded, address);
    }
    std::vector<std::string> Addresses() const override {
        std::vector<std::string> addresses;
        for (const auto& device : m_Loaded)
            addresses.push_back(device.Address);
        return addresses;
    }

private:
    MemoryDatabase& m_Database;
    std::vector<RegisteredDevice> m_Loaded;
};

class MemoryPlantDevices : public SQLPlantDevices {
public:
    explicit MemoryPlantDevices(MemoryDatabase& database) : m_Database(database) {}

    void Path(const std::string&) override {}
    void Load() override {}
    std::string Name(const std::string& address) const override {
        const auto device = FindDevice(m_Database.Registered, address);
        const auto name = device ? m_Database.PlantNames.find(device->SerialNumber) : m_Database.PlantNames.end();
        return name == m_Database.PlantNames.end() ? "" : name->second;
    }
    void SetName(const std::string& serialNumber, const std::string& name) override {
        if (!serialNumber.starts_with("NB1/")) m_Database.PlantNames[serialNumber] = name;
    }

private:
    MemoryDatabase& m_Database;
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

std::map<std::string, std::string> MemoryDatabase::ShortMessages() {
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
    std::map<std::string, std::string> messages;
    for (const auto& [number, text] : kTexts)
        messages["#" + std::to_string(number)] = text;
    return messages;
}

}  // namespace orvix::tests
