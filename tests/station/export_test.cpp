#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "station/pdf_report.h"
#include "tests/station/faulty_bus.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"

namespace orvix::tests {
namespace {

/// A folder for what is exported; it goes with the test.
struct ExportCommandTest : testing::Test {
    ExportCommandTest() { std::filesystem::create_directories(Folder); }
    ~ExportCommandTest() override { std::filesystem::remove_all(Folder); }

    std::string Path(const std::string& name) const { return (Folder / name).string(); }
    std::string Contents(const std::string& name) const {
        std::ifstream in(Folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    /// Exports, expecting one line on standard error that ends it.
    ProgramResult Export(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "export");
        return RunProgram(arguments);
    }

    std::filesystem::path Folder =
        std::filesystem::temp_directory_path() / ("nimbo1-export-" + std::to_string(getpid()));
};

TEST_F(ExportCommandTest, LiveAndSavedDevicesInEveryForm) {
    FaultyBus bus([](const std::string& request, int) {
        const bool isSerial = request.find(Bytes("00 07")) != std::string::npos;
        return std::vector<Piece>{
            {Bytes(isSerial ? "1D 06 05 02 00 07 41 42 06 03 03" : "1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03")}};
    });
    const std::vector<std::string> live{"--port", bus.Path(), "--device", "5:sensor:Oven", "--timeout-factor", "40"};
    const auto form = [&](std::vector<std::string> source, const std::string& format, const std::string& out) {
        for (const auto& argument : {std::string("--format"), format, std::string("--out"), Path(out)})
            source.push_back(argument);
        return Export(source);
    };
    const auto device = form(live, "device", "oven.device");
    ASSERT_EQ(device.Status, 0) << device.Err;
    EXPECT_EQ(device.Out, "");
    EXPECT_EQ(form(live, "text", "live.txt").Status, 0);
    EXPECT_EQ(Contents("live.txt"),
              "\t\t\r\nDevice: Oven\r\nSerial Number: AB\r\nAddress: 5\r\nMission: \t\t\r\nRate: 0\t\t\r\n\t\t\r\n"
              "Date\tTime\tTemp\r\n");
    const std::vector<std::string> saved{"--from", Path("oven.device")};
    EXPECT_EQ(form(saved, "report", "oven.pdf").Status, 0);
    EXPECT_TRUE(Contents("oven.pdf").starts_with("%PDF"));
    EXPECT_EQ(form(saved, "device", "again.device").Status, 0);
    EXPECT_EQ(form({"--from", Path("again.device")}, "text", "again.txt").Status, 0);
    EXPECT_NE(Contents("again.txt").find("Device: again\r\nSerial Number: AB\r\n"), std::string::npos);
}

TEST_F(ExportCommandTest, TroubleIsOneLineAndKeepsTheOldFile) {
    FaultyBus dead([](const std::string&, int) { return std::vector<Piece>{}; });
    std::ofstream(Folder / "old") << "old";
    std::filesystem::create_symlink("old", Folder / "link");
    const std::vector<std::string> oven{"--port", dead.Path(), "--device", "5:sensor", "--retries", "0"};
    const struct {
        std::vector<std::string> Source;
        std::string Format, Out;
        int Status;
        std::string Says;
    } cases[] = {
        {oven, "report", "old", 1, "No complete reply"},
        {{"--from", Path("old")}, "text", "link", 1, "property bag"},
        {{"--from", Path("none")}, "text", "old", 1, "No such file"},
        {{"--from", Path("old"), "--device", "5:sensor"}, "text", "old", 2, "excludes"},
        {{}, "text", "old", 2, "--device"},
        {oven, "xls", "old", 2, "xls"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Says);
        auto arguments = c.Source;
        for (const auto& argument : {std::string("--format"), c.Format, std::string("--out"), Path(c.Out)})
            arguments.push_back(argument);
        const auto result = Export(arguments);
        EXPECT_EQ(result.Status, c.Status);
        EXPECT_EQ(std::count(result.Err.begin(), result.Err.end(), '\n'), 1) << result.Err;
        EXPECT_NE(result.Err.find(c.Says), std::string::npos) << result.Err;
        EXPECT_EQ(Contents("old"), "old");
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Folder), {}), 2) << "nothing else is left behind";
}

// Odd texts and numbers of rows that a page must take; how it looks is for people to judge.
TEST_F(ExportCommandTest, ReportsOfAnySize) {
    for (const int rows : {0, 1, 77, 500}) {
        station::PdfReport report(FromCivilTime({2026, 11, 22, 21, 4, 0}));
        const std::string file = Path(std::to_string(rows) + ".pdf");
        ASSERT_EQ(report.Open(file), "");
        report.PageSetup({1.5, 1.5, 1.5, 1.5, 20, 14});
        for (const auto use : {ReportFont::Header, ReportFont::Heading, ReportFont::Cell, ReportFont::Title})
            report.Font(use, "Arial", 10);
        report.Title(std::string(500, 'x') + "\xFF");
        report.HeaderLine("Device: \xC3\xBC\n\x01\xC3");
        report.ColumnHeadings({"Date", "Time", "Temp"});
        report.Plot({0, 2, "C", 30.0, 10.0});
        for (int i = 0; i < rows; ++i)
            report.Row({Date{46000.0 + i}, "05:46", Currency{10000 * std::int64_t{i % 40}}});
        report.Close();
        std::size_t pages = 0;
        const std::string document = Contents(std::to_string(rows) + ".pdf");
        for (auto at = document.find("/Type /Page %"); at != std::string::npos;
             at = document.find("/Type /Page %", at + 1))
            ++pages;
        EXPECT_EQ(pages, rows < 80 ? 1U : 4U) << rows;
    }
    station::PdfReport report(Date{46000});
    EXPECT_NE(report.Open(Path("none/x.pdf")).find("none/x.pdf"), std::string::npos);
    EXPECT_NE(report.Open(Folder.string()).find("directory"), std::string::npos);
}

}  // namespace
}  // namespace orvix::tests
