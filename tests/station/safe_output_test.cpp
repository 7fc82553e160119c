#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "host/characters.h"
#include "station/commands/device_text.h"
#include "station/json/json.h"
#include "station/run/harmless_stream.h"
#include "tests/station/program.h"

namespace orvix::tests {
namespace {

TEST(HarmlessStream, CharactersMayComeInPiecesAndControlsOnPurposePass) {
    std::ostringstream out;
    {
        const station::HarmlessStream guard(out);
        out << "21 \xC2"
            << "\xB0"
            << "C\x1b[2J\r"
            << "\nx\xE2\x80"
            << "\xAE" << std::flush;
        EXPECT_EQ(out.str(), "21 °C?[2J\r\nx?");
        station::Steer(out, "\x1b[K");
        out << "cut \xC2" << std::flush << "\x9B";
    }
    EXPECT_EQ(out.str(), "21 °C?[2J\r\nx?\x1b[Kcut ??");
}

TEST(SafeOutput, JsonEscapesWhatCsvAndTablesReplace) {
    const std::string name = "=a\x1b\x7f\xC2\x9B\u202E\xFF°\nb,";
    EXPECT_EQ(station::Dump(name), R"("=a\u001b\u007F\u009B\u202E)"
                                   "\uFFFD°"
                                   R"(\nb,")");
    EXPECT_EQ(station::CsvText(name), "\"'=a?????° | b,\"");
    for (const char* formula : {"+1", "-1", "@x", "=x", "\tx"})
        EXPECT_EQ(station::CsvText(formula), "'" + std::string(formula));
    EXPECT_EQ(station::CsvText("a-b=c"), "a-b=c");
}

TEST(SafeOutput, NothingFromOutsideReachesATerminalRaw) {
    const TestFolder folder;
    const std::string bad = "x\x1b[31m\xC2\x9B\u202E\xFF\ny";
    const auto file = folder.Path + "/bad.toml";
    std::ofstream(file) << "\"k\\u001b[31m\" = 1\n[[bus]]\nport = \"/dev/x\\u202e\"\nname = \"a\\u009b\"\n"
                        << "[[bus.device]]\naddress = 1\nmodel = \"sensor\\u0007\"\nname = \"a\\nb\"\n";
    const auto raw = folder.Path + "/raw.toml";
    std::ofstream(raw) << "k\x1b = 3\n";
    const std::vector<std::string> cases[] = {
        {bad},
        {"run", "--" + bad},
        {"run", "--device", "5:sensor:" + bad},
        {"read", "--device", bad, "temperature"},
        {"scan", "--port", "/dev/" + bad},
        {"devices", "rename", "5", bad, "--port", "/dev/x"},
        {"devices", "add", "5:sensor:" + bad, "--port", "/dev/x"},
        {"history", "--data", folder.Path + "/" + bad},
        {"config", "check", bad},
        {"config", "check", file},
        {"config", "check", raw},
        {"simulate", "--device", "5:" + bad},
    };
    for (const auto& arguments : cases) {
        const auto result = RunProgram(arguments);
        EXPECT_NE(result.Status, 0);
        EXPECT_EQ(result.Out, "");
        EXPECT_NE(result.Err, "");
        EXPECT_EQ(Harmless(result.Err), result.Err);
    }
}

/// What is exported goes where the name leads, which stays what it is.
TEST(SafeOutput, AnExportGoesIntoWhatIsNoRegularFile) {
    const TestFolder folder;
    const auto path = [&](const char* name) { return folder.Path + "/" + name; };
    RunProgram({"run", "--data", folder.Path, "--device", "5:sensor:-Oven", "--for", "300ms", "--quiet"});
    const auto exportTo = [&](const std::string& out) {
        return RunProgram({"export", "--data", folder.Path, "--format", "csv", "--out", out});
    };
    const auto printed = exportTo("-");
    EXPECT_TRUE(printed.Out.starts_with("time,port,")) << printed.Err;
    EXPECT_NE(printed.Out.find(",simulated,5,'-Oven,temperature,"), std::string::npos);
    EXPECT_EQ(printed.Err, "");

    std::ofstream(path("file")) << "old";
    std::filesystem::create_symlink("file", path("link"));
    EXPECT_EQ(exportTo(path("link")).Status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
    EXPECT_EQ(ContentsOf(path("file")), printed.Out);

    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    std::string piped;
    std::thread reader([&] { piped = ContentsOf(path("pipe")); });
    EXPECT_EQ(exportTo(path("pipe")).Status, 0);
    reader.join();
    EXPECT_EQ(piped, printed.Out);
    EXPECT_TRUE(std::filesystem::is_fifo(path("pipe")));

    EXPECT_EQ(exportTo("/dev/null").Status, 0);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    const auto full = exportTo("/dev/full");
    EXPECT_EQ(full.Status, 1);
    EXPECT_NE(full.Err.find("/dev/full cannot be written"), std::string::npos) << full.Err;
}

}  // namespace
}  // namespace orvix::tests
