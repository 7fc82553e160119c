#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "host/error.h"
#include "station/store/history_rescue.h"
#include "tests/station/history_fixture.h"

namespace orvix::tests {
namespace {

using HistoryDamageTest = HistoryTest;

/// The name that a file that cannot be used was given.
std::string AsideIn(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const auto path = entry.path().string();
        if (path.find(".damaged-2026") != std::string::npos && !path.ends_with("-wal") && !path.ends_with("-shm"))
            return path;
    }
    return {};
}

TEST_F(HistoryDamageTest, WhatIsNoHistoryIsSetAside) {
    std::ofstream(m_File) << "no database, but long enough to be taken for one";
    const auto before = ContentsOf(m_File);
    Begin();
    Add(5, 0, 20.0);
    Turn(0);
    Turn(kSecond);
    ASSERT_EQ(m_Said.size(), 1U);
    EXPECT_NE(m_Said[0].find("not a database"), std::string::npos) << m_Said[0];
    EXPECT_EQ(ContentsOf(AsideIn(m_Folder.Path)), before);
    EXPECT_EQ(Rows(0, kSecond), (Lines{"5@0=20"}));
    struct stat status {};
    ASSERT_EQ(::stat(m_File.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(HistoryDamageTest, WhateverIsLeftOfASmallOneTheStationGoesOn) {
    Begin();
    Add(5, 0, 20.0);
    End(kSecond);
    m_Writer.reset();
    const auto sound = ContentsOf(m_File);
    for (const std::size_t left : {99, 100, 511, 512, 4095, 4096, 20480}) {
        for (const auto& entry : std::filesystem::directory_iterator(m_Folder.Path))
            std::filesystem::remove(entry);
        std::ofstream(m_File, std::ios::binary) << sound.substr(0, left);
        m_Said.clear();
        Begin({}, 1000, kSecond);
        Add(6, kSecond, 21.0);
        Turn(kSecond);
        EXPECT_EQ(End(2 * kSecond), 0) << left;
        ASSERT_EQ(m_Said.size(), 1U) << left;
        EXPECT_NE(m_Said[0].find("it is kept as"), std::string::npos) << m_Said[0];
        EXPECT_EQ(ContentsOf(AsideIn(m_Folder.Path)), sound.substr(0, left));
        m_Writer.reset();
        const auto rows = Rows(0, 2 * kSecond);
        EXPECT_EQ(std::count(rows.begin(), rows.end(), "6@1000=21"), 1) << left;
    }
}

/// A history of two devices, whose readings tell when they were taken, all of it in the file itself.
struct HistoryRescueTest : HistoryTest {
    static constexpr int kRows = 6000;

    HistoryRescueTest() {
        Begin({}, 4 * kRows);
        for (int second = 0; second < kRows; ++second) {
            Add(5, second * kSecond, double(second));
            Add(6, second * kSecond, double(-second));
        }
        End(kRows * kSecond);
        m_Writer.reset();
        platform::SqliteConnection(m_File).Execute("PRAGMA wal_checkpoint(TRUNCATE)");
        m_Sound = ContentsOf(m_File);
    }
    /// The pages of tables that hold rows, in their order, and those that lead to them.
    std::vector<std::size_t> Pages(const std::string& which) const {
        std::ofstream(m_File, std::ios::binary) << m_Sound;
        platform::SqliteConnection connection(m_File);
        platform::SqliteStatement find(connection, "SELECT pageno FROM dbstat WHERE " + which + " ORDER BY path");
        std::vector<std::size_t> pages;
        while (find.Step())
            pages.push_back(static_cast<std::size_t>(find.LongNumber(0)));
        return pages;
    }
    /// How many readings are there when the file with these contents was replaced. None of them is wrong.
    std::size_t Rescued(const std::string& contents) {
        for (const auto& entry : std::filesystem::directory_iterator(m_Folder.Path))
            std::filesystem::remove(entry);
        std::ofstream(m_File, std::ios::binary) << contents;
        m_Told = ReplaceUnusableHistory(m_File, kStart);
        EXPECT_TRUE(ContentsOf(AsideIn(m_Folder.Path)) == contents);
        platform::SqliteConnection made(m_File);
        platform::SqliteStatement rows(made,
                                       "SELECT count(*), sum(abs(value) != (time_ms - 1795000000000) / 1000.0), "
                                       "sum(series NOT IN (SELECT id FROM series)) FROM readings");
        rows.Step();
        EXPECT_EQ(rows.Number(1) + rows.Number(2), 0);
        return static_cast<std::size_t>(rows.Number(0));
    }
    std::size_t RescuedWithout(const std::vector<std::size_t>& pages) {
        auto contents = m_Sound;
        for (const auto page : pages)
            contents.replace((page - 1) * kPage, kPage, kPage, '\x55');
        return Rescued(contents);
    }

    static constexpr std::size_t kPage = 4096;
    std::string m_Sound;
    std::string m_Told;
};

TEST_F(HistoryRescueTest, AllRowsBetweenDamagedPagesAreTakenOver) {
    const auto leaves = Pages("name = 'readings' AND pagetype = 'leaf'");
    ASSERT_GT(leaves.size(), 50U);
    const auto perPage = 2 * kRows / leaves.size() + 50;
    const auto at = [&](std::size_t every, std::size_t first) {
        std::vector<std::size_t> some;
        for (auto i = first; i < leaves.size(); i += every)
            some.push_back(leaves[i]);
        return some;
    };
    for (const auto& some : {at(leaves.size(), 0), at(leaves.size(), 3), at(leaves.size(), leaves.size() - 1),
                             at(leaves.size() / 3, 5), at(7, 3), at(2, 0)}) {
        SCOPED_TRACE(some.size());
        EXPECT_GE(RescuedWithout(some) + some.size() * perPage, 2U * kRows);
        EXPECT_NE(m_Told.find(" readings that could be read"), std::string::npos) << m_Told;
    }
    for (const char* table : {"sessions", "series", "devices", "gaps", "rollups"})
        EXPECT_EQ(RescuedWithout(Pages("name = '" + std::string(table) + "'")), 2U * kRows) << table;
    EXPECT_EQ(RescuedWithout({1}), 2U * kRows) << "the first page is made anew";
    EXPECT_EQ(Rescued(std::string(100, '\0') + m_Sound.substr(100)), 2U * kRows);
    EXPECT_EQ(RescuedWithout({1, Pages("name = 'history'").at(0)}), 0U) << "what begins where is not known";
    EXPECT_NE(m_Told.find("no reading in it could be read"), std::string::npos) << m_Told;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_Folder.Path), {}), 2) << "nothing else is left";
}

/// Of a file that has lost its end much of what is left is there, and of one with rubbish in it what is around it.
TEST_F(HistoryRescueTest, WhateverIsCutOffOrOverwrittenTheRestIsTakenOver) {
    const auto pages = m_Sound.size() / kPage;
    for (const std::size_t tenth : {3, 6, 9})
        EXPECT_GT(Rescued(m_Sound.substr(0, pages * tenth / 10 * kPage)), kRows * tenth / 20) << tenth;
    std::mt19937 random(1);
    for (int i = 0; i < 10; ++i) {
        auto contents = m_Sound;
        const auto page = 1 + random() % (pages - 1);
        for (std::size_t byte = 0; byte < kPage; ++byte)
            contents[page * kPage + byte] = static_cast<char>(random());
        EXPECT_GT(Rescued(contents), 2U * kRows - 400) << page;
    }
}

// A station that finds the damage goes on by itself, with the devices it had.
TEST_F(HistoryRescueTest, TheStationGoesOnByItself) {
    auto contents = m_Sound;
    contents.replace((Pages("name = 'sessions'").at(0) - 1) * kPage, kPage, kPage, '\x55');
    std::ofstream(m_File, std::ios::binary) << contents;
    Begin({}, 1000, 2 * kRows * kSecond);
    Add(6, 2 * kRows * kSecond, 22.0);
    Turn(2 * kRows * kSecond);
    ASSERT_EQ(m_Said.size(), 1U);
    EXPECT_NE(m_Said[0].find("it is kept as"), std::string::npos) << m_Said[0];
    EXPECT_EQ(Reader(0).Find({.Port = {}, .Device = "d6", .Time = {}}).at(0).Series.size(), 2U);
}

/// A history on a disk of its own that has 300 KB.
struct HistoryOnASmallDisk : HistoryTest {
    void SetUp() override {
        const bool isMounted = ::unshare(CLONE_NEWNS) == 0 && ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, "") == 0 &&
                               ::mount("none", m_Folder.Path.c_str(), "tmpfs", 0, "size=300k") == 0;
        if (!isMounted) GTEST_SKIP() << "only root can have such a disk";
    }
    void TearDown() override {
        m_Writer.reset();
        ::umount(m_Folder.Path.c_str());
    }
};

TEST_F(HistoryOnASmallDisk, AFullOneIsWrittenAgainWhenThereIsRoom) {
    Begin({}, 100'000);
    int second = 0;
    const auto record = [&](int seconds) {
        for (const int end = second + seconds; second < end; ++second) {
            for (const int address : {5, 6, 7})
                Add(address, second * kSecond, 20.0 + second);
            Turn(second * kSecond);
        }
    };
    const auto saidLast = [&] { return m_Said.empty() ? std::string() : m_Said.back(); };
    record(200);
    EXPECT_EQ(saidLast(), "") << "what waits to be brought into the file does not fill the disk";
    const auto filler = m_Folder.Path + "/filler";
    std::ofstream(filler) << std::string(300UL * 1024, 'x');
    record(100);
    EXPECT_NE(saidLast().find("database or disk is full"), std::string::npos) << saidLast();
    std::filesystem::remove(filler);
    record(200);
    EXPECT_EQ(saidLast(), "history: written again; 0 readings lost");
    EXPECT_EQ(End(second * kSecond), 0);
    EXPECT_EQ(Rows(0, second * kSecond).size(), 1500U);
}

TEST_F(HistoryDamageTest, APipeInItsPlaceIsRefused) {
    ASSERT_EQ(::mkfifo(m_File.c_str(), 0600), 0);
    Begin();
    Add(5, 0, 20.0);
    Turn(0);
    ASSERT_EQ(m_Said.size(), 1U);
    EXPECT_NE(m_Said[0].find("is not a regular file"), std::string::npos) << m_Said[0];
    EXPECT_THROW(Reader(0), Error);
    EXPECT_EQ(End(kSecond), 1) << "a reading is lost, and that is told";
}

}  // namespace
}  // namespace orvix::tests
