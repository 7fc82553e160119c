#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "platform/real_apartment.h"
#include "platform/sqlite_connection.h"
#include "platform/sqlite_database.h"
#include "platform/workgroup_file.h"
#include "station/sink/identities/identity_keeper.h"
#include "station/store/device_registry.h"
#include "station/store/host_data.h"
#include "tests/station/program.h"

namespace orvix::tests {
namespace {

namespace fs = std::filesystem;
using station::DeviceRegistry;
using station::HostData;

/// A data folder in which 300 devices are known.
struct FailingStores : testing::Test {
    FailingStores() {
        const HostData host(Folder);
        { const DeviceRegistry withItsTable(Folder); }
        platform::SqliteConnection(File).Execute(
            "WITH RECURSIVE n(a) AS (SELECT 1 UNION ALL SELECT a + 1 FROM n WHERE a < 300) "
            "INSERT INTO known_devices SELECT '/dev/bus', a, 106, '', 'A sensor with a long name' FROM n");
    }
    std::vector<std::string> Aside() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_Made.Path)) {
            const auto name = entry.path().string();
            const bool isCompanion = name.ends_with("-wal") || name.ends_with("-shm");
            if (!isCompanion && name.find(".damaged-2") != std::string::npos) names.push_back(name);
        }
        return names;
    }
    /// How many devices are known of a database.
    static std::size_t Known(const HostData& host) { return DeviceRegistry(host.Folder()).Devices({}).size(); }
    void Spoil(const std::string& file, std::int64_t begin, std::size_t size) const {
        std::fstream bytes(file, std::ios::in | std::ios::out | std::ios::binary);
        bytes.seekp(begin);
        bytes << std::string(size, '\x55');
    }

    TestFolder m_Made;
    std::string Folder = m_Made.Path + "/";
    std::string File = Folder + kDatabaseFile;
};

TEST_F(FailingStores, ADamagedDatabaseIsReplacedWithWhatCanBeReadOfIt) {
    std::int64_t leaf = 0;
    {
        platform::SqliteConnection connection(File);
        connection.Execute("PRAGMA wal_checkpoint(TRUNCATE)");
        platform::SqliteStatement find(
            connection,
            "SELECT pageno FROM dbstat WHERE name = 'known_devices' AND pagetype = 'leaf' LIMIT 1 OFFSET 2");
        ASSERT_TRUE(find.Step());
        leaf = find.LongNumber(0);
    }
    Spoil(File, (leaf - 1) * 4096, 4096);
    {
        const HostData host(Folder);
        ASSERT_EQ(host.Notices().size(), 1U);
        EXPECT_NE(host.Notices()[0].find("it is kept as " + File + ".damaged-2"), std::string::npos)
            << host.Notices()[0];
        EXPECT_EQ(host.WhyPassing(), "");
        EXPECT_GT(Known(host), 100U);
        EXPECT_LT(Known(host), 300U);
    }
    EXPECT_EQ(Aside().size(), 1U);
    struct stat status {};
    ASSERT_EQ(::stat(File.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_TRUE(HostData(Folder).Notices().empty()) << "it is said once";
}

TEST_F(FailingStores, WhatIsNoDatabaseAndNoAccountIsSetAside) {
    Spoil(File, 0, 8192);
    std::ofstream(Folder + kWorkgroupFile) << "rubbish";
    const HostData host(Folder);
    EXPECT_EQ(host.Notices().size(), 2U);
    EXPECT_EQ(Known(host), 0U);
    EXPECT_EQ(Aside().size(), 2U);
    EXPECT_EQ(host.Account().User, platform::ReadWorkgroupFile(Folder + kWorkgroupFile).User);
}

TEST_F(FailingStores, WhereNothingCanBeWrittenACopyInMemoryIsUsed) {
    std::string memory;
    {
        // What stands in the place of a file and is none can be neither written nor set aside.
        fs::remove(Folder + kWorkgroupFile);
        fs::create_directory(Folder + kWorkgroupFile);
        const HostData host(Folder);
        memory = host.Folder();
        EXPECT_NE(memory, Folder);
        EXPECT_NE(host.WhyPassing(), "");
        ASSERT_EQ(host.Notices().size(), 1U);
        EXPECT_EQ(Known(host), 300U);
    }
    EXPECT_FALSE(fs::exists(memory));
}

TEST_F(FailingStores, WhatADeviceIsCalledIsWrittenAsSoonAsThatIsPossible) {
    fs::rename(File, File + ".away");
    fs::create_directory(File);
    platform::RealApartment home;
    std::vector<std::string> said;
    {
        station::IdentityKeeper keeper(Folder, {}, home, [&](const std::string& text) { said.push_back(text); });
        station::DeviceIdentity identity;
        identity.Port = "p";
        identity.Identifier = "n5";
        keeper.OnIdentity(identity);
        home.PumpUntil([&] { return !said.empty(); }, std::chrono::seconds(30));
        fs::remove(File);
        fs::rename(File + ".away", File);
    }
    ASSERT_EQ(said.size(), 1U);
    EXPECT_NE(said[0].find("called n5 cannot be written down"), std::string::npos) << said[0];
    const auto kept = DeviceRegistry(Folder).Identities();
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_EQ(kept[0].Identifier, "n5");
}

/// It measures all the same; what it could not keep is an exit status of 1.
TEST(FailingStation, WithoutFilesItRuns) {
    const TestFolder folder;
    for (const char* file : {kWorkgroupFile, "history-simulated.db"})
        fs::create_directory(folder.Path + "/" + file);
    const auto result = RunProgram({"run", "--data", folder.Path, "--for", "400ms", "--plain"});
    EXPECT_NE(result.Out.find("temperature  21.5 °C       good"), std::string::npos) << result.Out;
    EXPECT_NE(result.Err.find("devices and their names are kept in memory"), std::string::npos) << result.Err;
    EXPECT_NE(result.Err.find(" lost: the file cannot be written"), std::string::npos) << result.Err;
    EXPECT_EQ(result.Status, 1);
}

}  // namespace
}  // namespace orvix::tests
