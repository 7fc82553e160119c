#include "platform/file_stores.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "host/error.h"
#include "host/text.h"
#include "platform/atomic_file.h"
#include "tests/support/test_folder.h"

namespace orvix::platform {
namespace {

using tests::TestFolder;

struct Stored : TestFolder {
    FileStores Stores{Path + "/config", Path + "/lib"};
    orvix::Settings& Settings = static_cast<orvix::Stores&>(Stores).Settings();
    orvix::Files& Files = static_cast<orvix::Stores&>(Stores).Files();
    orvix::Paths& Paths = static_cast<orvix::Stores&>(Stores).Paths();
};

std::size_t FilesIn(const std::string& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST(FileStores, AnyTextSurvivesAsNameAndAsValue) {
    Stored stored;
    const std::string texts[] = {"",         "-40.0",    "a=b",
                                 "[x]",      "]",        "line\r\nbreak\n",
                                 " blanks ", "\t",       "%",
                                 "%41",      "#",        "; remark",
                                 "[Sym]\n",  "K=1\nK=2", "\xC3\xA4\xFF",
                                 " ",        "\x7F",     std::string("nul\0byte", 8)};
    for (const std::string& text : texts)
        stored.Settings.SaveSetting("App", "Sym", text, text);
    for (const std::string& text : texts)
        stored.Settings.SaveSetting("App", text, "key", text);
    for (const std::string& text : texts) {
        EXPECT_EQ(stored.Settings.GetSetting("App", "Sym", text, "missing"), text);
        EXPECT_EQ(stored.Settings.GetSetting("App", text, "key", "missing"), text);
    }
    EXPECT_EQ(stored.Settings.GetSetting("App", "Sym", "other", "missing"), "missing");
    EXPECT_EQ(stored.Settings.GetSetting("Other", "Sym", "%", "missing"), "missing");
    EXPECT_EQ(FilesIn(stored.Path + "/config"), 1U);
    EXPECT_THROW(stored.Settings.SaveSetting("../App", "Sym", "key", "value"), Error);
}

TEST(FileStores, AHandWrittenFileKeepsItsOtherLines) {
    Stored stored;
    stored.Files.CreateFolder(stored.Path + "/config");
    const std::string file = stored.Path + "/config/App.ini";
    std::ofstream(file) << "lost=0\n[broken\n; remark\n[Sym]\r\n a = 1 \r\nno entry\n[Other]\na=5";
    EXPECT_EQ(stored.Settings.GetSetting("App", "Sym", "a", ""), "1");
    stored.Settings.SaveSetting("App", "Sym", "b", "2");
    stored.Settings.SaveSetting("App", "Other", "a", "6");
    EXPECT_EQ(BytesToText(stored.Files.ReadAll(file)),
              "lost=0\n[broken\n; remark\n[Sym]\r\n a = 1 \r\nb=2\nno entry\n[Other]\na=6\n");
}

TEST(FileStores, SavesFromTwoThreadsAreAllKept) {
    Stored stored;
    const auto save = [&](const std::string& section) {
        for (int key = 0; key < 20; ++key)
            stored.Settings.SaveSetting("App", section, std::to_string(key), section);
    };
    std::thread other(save, "one");
    save("two");
    other.join();
    for (int key = 0; key < 20; ++key) {
        EXPECT_EQ(stored.Settings.GetSetting("App", "one", std::to_string(key), ""), "one");
        EXPECT_EQ(stored.Settings.GetSetting("App", "two", std::to_string(key), ""), "two");
    }
}

TEST(FileStores, FilesAreReadAppendedAndReplacedWhole) {
    Stored stored;
    const std::string file = stored.Path + "/day.log";
    auto first = stored.Files.OpenAppend(file);
    auto second = stored.Files.OpenAppend(file);
    first->Append("one\n");
    second->Append("two\n");
    first->Append("three\n");
    EXPECT_EQ(BytesToText(stored.Files.ReadAll(file)), "one\ntwo\nthree\n");

    WriteFileAtomically(file, TextToBytes("new"), 0600);
    EXPECT_EQ(BytesToText(stored.Files.ReadAll(file)), "new");
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms{0600});
    stored.Files.WriteWhole(file, TextToBytes("newer"));
    EXPECT_EQ(BytesToText(stored.Files.ReadAll(file)), "newer");
    stored.Files.Delete(file);
    EXPECT_THROW(stored.Files.Delete(file), Error);
    EXPECT_THROW(stored.Files.WriteWhole(stored.Path + "/none/file", TextToBytes("x")), Error);
    EXPECT_THROW(static_cast<orvix::Stores&>(stored.Stores).CreateReportWriter(), Error);
    WriteFileAtomically(file, TextToBytes("new"), 0600);
    std::filesystem::create_directories(stored.Path + "/full/inside");
    EXPECT_THROW(WriteFileAtomically(stored.Path + "/full", TextToBytes("x"), 0600), Error);
    EXPECT_EQ(FilesIn(stored.Path), 2U);

    std::filesystem::resize_file(file, (std::uintmax_t{64} << 20U) + 1);
    ASSERT_EQ(::mkfifo((stored.Path + "/pipe").c_str(), 0600), 0);
    for (const std::string path : {"/day.log", "/full", "/pipe", "/none"}) {
        EXPECT_THROW(stored.Files.ReadAll(stored.Path + path), Error) << path;
    }
    EXPECT_THROW(stored.Files.CreateFolder(file + "/below"), Error);
    EXPECT_THROW(stored.Files.CreateFolder(file), Error);
}

TEST(FileStores, PathsAreNormalisedWithoutTouchingTheDisk) {
    Stored stored;
    const std::string current = std::filesystem::current_path().string();
    const std::pair<std::string, std::string> cases[] = {
        {"/", "/"},        {"/a/b", "/a/b/"},   {"/a//b/../c/./", "/a/c/"},
        {"/../a/", "/a/"}, {"", current + "/"}, {"x", current + "/x/"}};
    for (const auto& [folder, expected] : cases)
        EXPECT_EQ(stored.Paths.Normalise(folder), expected);
    EXPECT_EQ(stored.Paths.LibraryFolder(), stored.Path + "/lib/");
    EXPECT_EQ(stored.Paths.DisplayName("/a/b.c/Oven 3.nb1"), "Oven 3");
    EXPECT_EQ(stored.Paths.PortAddressText(2, "1"), "2x1");
    EXPECT_THROW(stored.Paths.MakeCurrent(stored.Path + "/none"), Error);
}

}  // namespace
}  // namespace orvix::platform
