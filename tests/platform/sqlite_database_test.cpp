#include "platform/sqlite_database.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/sqlite_connection.h"
#include "tests/support/error_of.h"
#include "tests/support/test_folder.h"

namespace orvix::platform {
namespace {

using tests::TestFolder;

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct HostFolder : TestFolder {
    std::string File = Path + "/" + kDatabaseFile;
    std::string Workgroup = Path + "/" + kWorkgroupFile;

    std::shared_ptr<HostDatabase> Open(const DatabaseAccount& account) const {
        auto connection = SqliteDatabase(account).CreateConnection();
        connection->Open(File, Workgroup, account);
        return connection;
    }
    std::string OpenFailure(const DatabaseAccount& account) const {
        const Error error = tests::ErrorOf([&] { Open(account); });
        EXPECT_EQ(error.Number, errors::General);
        return error.Description;
    }
};

TEST(SqliteDatabase, OpensOnlyToItsAccount) {
    const HostFolder host;
    const DatabaseAccount account = PrepareHostDatabase(host.Path);
    const std::string refused = "host database " + host.File + ": account refused";
    EXPECT_EQ(host.OpenFailure({account.User, "wrongpass"}), refused);
    EXPECT_EQ(host.OpenFailure({"", ""}), refused);
    const auto connection = host.Open(account);
    EXPECT_TRUE(connection->GetMessage("#-2147215991"));
    for (const char* key : {"", "#", "#1", "-2147215991", "#-2147215991x", "#2147751305"})
        EXPECT_FALSE(connection->GetMessage(key)) << key;
    for (const auto& entry : std::filesystem::directory_iterator(host.Path))
        EXPECT_EQ(entry.status().permissions(), std::filesystem::perms{0600}) << entry.path();
    for (const char* broken : {"", "OrvixWorkgroup 1\nUser=\nPassword=\n", "OrvixWorkgroup 1\nUser=abc", "\n\n\n\n"}) {
        std::ofstream(host.Workgroup) << broken;
        EXPECT_THAT(host.OpenFailure(account), HasSubstr("holds no account"));
    }
}

TEST(SqliteDatabase, TellsWhatIsWrongWithAFile) {
    const HostFolder host;
    const DatabaseAccount account = PrepareHostDatabase(host.Path);
    SqliteConnection(host.File).Execute("PRAGMA user_version = 7");
    EXPECT_THAT(host.OpenFailure(account), HasSubstr("layout version 7"));
    EXPECT_THROW(PrepareHostDatabase(host.Path), Error);
    std::ofstream(host.File) << std::string(5000, 'x');
    EXPECT_THAT(host.OpenFailure(account), HasSubstr("not a database"));
    EXPECT_THROW(PrepareHostDatabase(host.Path), Error);
    std::filesystem::remove(host.File);
    EXPECT_THAT(host.OpenFailure(account), HasSubstr("no such file"));
}

TEST(SqliteDatabase, ASecondPreparationKeepsAccountAndDataAndRefreshesTexts) {
    const HostFolder host;
    const DatabaseAccount account = PrepareHostDatabase(host.Path + "/a/b");
    const std::string file = host.Path + "/a/b/" + kDatabaseFile;
    SqliteConnection(file).Execute("UPDATE messages SET text = 'old'; INSERT INTO plant_names VALUES('S', 'Oven')");
    EXPECT_EQ(PrepareHostDatabase(host.Path + "/a/b").User, account.User);
    SqliteConnection connection(file);
    SqliteStatement old(connection, "SELECT count(*), (SELECT name FROM plant_names) FROM messages WHERE text = 'old'");
    ASSERT_TRUE(old.Step());
    EXPECT_EQ(old.Number(0), 0);
    EXPECT_EQ(old.Text(1), "Oven");
}

TEST(SqliteDatabase, TextsAreThereWhileAnotherProgramKeepsTheFile) {
    const HostFolder host;
    const auto connection = host.Open(PrepareHostDatabase(host.Path));
    SqliteConnection other(host.File);
    other.Execute("BEGIN EXCLUSIVE");
    EXPECT_TRUE(connection->GetMessage("#-2147215991"));
    connection->Reset();
    EXPECT_FALSE(connection->GetMessage("#-2147215991"));
}

TEST(SqliteDatabase, PlantNamesAreSharedByConnections) {
    const HostFolder host;
    const DatabaseAccount account = PrepareHostDatabase(host.Path);
    const std::string serial("\x01\0\xFF'", 4);
    SqliteDatabase database(account);
    const auto adapter = host.Open(account);
    const auto driver = host.Open(account);
    SqliteConnection station(host.File);
    SqliteStatement(station, "INSERT INTO devices VALUES('9', 104, NULL), ('12', 106, ?)").Bind(1, serial).Step();

    auto devices = database.CreateDevices(adapter);
    devices->Load();
    EXPECT_THAT(devices->Addresses(), ElementsAre("9", "12"));
    EXPECT_EQ(devices->Find("12")->SerialNumber, serial);
    EXPECT_FALSE(devices->Find("1").has_value());

    auto names = database.CreatePlantDevices(adapter);
    names->Load();
    names->SetName(serial, "Oven 'B'");
    names->SetName("NB1/2x1/104/9/1", "Door");
    names->SetName("", "Door");
    auto others = database.CreatePlantDevices(driver);
    others->Load();
    EXPECT_EQ(others->Name("12"), "Oven 'B'");

    adapter->Reset();
    EXPECT_THROW(devices->Load(), Error);
}

}  // namespace
}  // namespace orvix::platform
