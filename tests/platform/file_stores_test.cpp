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

TEST(FileStores, AnyTextSurvivesAsNameAndAsValue) {
    Stored stored;
    const std::string texts[] = {"",    "a=b", "[x]",          " blanks ", "\t",
                                 "%41", "#",   "; remark",     "[Sym]\n",  "K=1\nK=2",
                                 "]",   " ",   "\xC3\xA4\xFF", "\x7F",     std::string("nul\0byte", 8)};
    for (const std::string& text : texts)
        stored.Settings.SaveSetting("App", "Sym", text, text);
    for (const std::string& text : texts)
        stored.Settings.SaveSetting("App", text, "key", text);
    for (const std::string& text : texts) {
        EXPECT_EQ(stored.Settings.GetSetting("App", "Sym", text, "missing"), text);
        EXPECT_EQ(stored.Settings.GetSetting("App", text, "key", "missing"), text);
    }
    EXPECT_EQ(stored.Settings.GetSetting("App", "Sym", "other", "missing"), "missing");
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
    const auto save = [&](int first) {
        for (int key = first; key < 40; key += 2)
            stored.Settings.SaveSetting("App", "Sym", std::to_string(key), "saved");
    };
    std::thread other(save, 1);
    save(0);
    other.join();
    for (int key = 0; key < 40; ++key)
        EXPECT_EQ(stored.Settings.GetSetting("App", "Sym", std::to_string(key), ""), "saved");
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
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms{0600});
    EXPECT_EQ(BytesToText(stored.Files.ReadAll(file)), "new");
    EXPECT_THROW(stored.Files.Delete(stored.Path + "/none"), Error);
    std::filesystem::create_directories(stored.Path + "/full/inside");
    EXPECT_THROW(WriteFileAtomically(stored.Path + "/full", TextToBytes("x"), 0600), Error);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(stored.Path), {}), 2);

    std::filesystem::resize_file(file, (std::uintmax_t{64} << 20U) + 1);
    ASSERT_EQ(::mkfifo((stored.Path + "/pipe").c_str(), 0600), 0);
    for (const std::string path : {"/day.log", "/full", "/pipe", "/none"})
        EXPECT_THROW(stored.Files.ReadAll(stored.Path + path), Error) << path;
    EXPECT_THROW(stored.Files.CreateFolder(file + "/below"), Error);
}

TEST(FileStores, PathsAreNormalisedWithoutTouchingTheDisk) {
    Stored stored;
    const std::string current = std::filesystem::current_path().string();
    const std::pair<std::string, std::string> cases[] = {
        {"/", "/"},        {"/a/b", "/a/b/"},   {"/a//b/../c/./", "/a/c/"},
        {"/../a/", "/a/"}, {"", current + "/"}, {"x", current + "/x/"}};
    for (const auto& [folder, expected] : cases)
        EXPECT_EQ(stored.Paths.Normalise(folder), expected);
}

}  // namespace
}  // namespace orvix::platform
