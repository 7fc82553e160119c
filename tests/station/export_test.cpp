#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "station/report/pdf_report.h"
#include "tests/station/faulty_bus.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"

namespace orvix::tests {
namespace {

/// A folder for what is exported.
struct ExportCommandTest : testing::Test {
    std::string Path(const std::string& name) const { return m_Folder.Path + "/" + name; }
    std::string Contents(const std::string& name) const { return ContentsOf(Path(name)); }
    std::vector<std::string> Export(std::vector<std::string> arguments, const std::string& format,
                                    const std::string& out) const {
        arguments.insert(arguments.begin(), {"export", "--format", format, "--out", Path(out)});
        return arguments;
    }
    TestFolder m_Folder;
};

TEST_F(ExportCommandTest, LiveAndSavedDevicesInEveryForm) {
    FaultyBus bus([](const std::string& request) {
        const bool isSerial = request.find(Bytes("00 07")) != std::string::npos;
        return Bytes(isSerial ? "1D 06 05 02 00 07 41 42 06 03 03" : "1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03");
    });
    const std::vector<std::string> live{"--port",        bus.Terminal.Path(), "--device",
                                        "5:sensor:Oven", "--timeout-factor",  "40"};
    const auto form = [&](std::vector<std::string> source, const std::string& format, const std::string& out) {
        const auto result = RunProgram(Export(std::move(source), format, out));
        EXPECT_EQ(result.Status, 0) << result.Err;
    };
    form(live, "device", "oven.device");
    form(live, "text", "live.txt");
    EXPECT_EQ(Contents("live.txt"),
              "\t\t\r\nDevice: Oven\r\nSerial Number: AB\r\nAddress: 5\r\nMission: \t\t\r\nRate: 0\t\t\r\n\t\t\r\n"
              "Date\tTime\tTemp\r\n");
    const std::vector<std::string> saved{"--from", Path("oven.device")};
    form(saved, "report", "oven.pdf");
    EXPECT_TRUE(Contents("oven.pdf").starts_with("%PDF"));
    form(saved, "device", "again.device");
    form({"--from", Path("again.device")}, "text", "again.txt");
    EXPECT_NE(Contents("again.txt").find("Device: again\r\nSerial Number: AB\r\n"), std::string::npos);
}

TEST_F(ExportCommandTest, TroubleIsOneLineAndKeepsTheOldFile) {
    FaultyBus dead([](const std::string&) { return ""; });
    std::ofstream(Path("old")) << "old";
    std::filesystem::create_symlink("old", Path("link"));
    const std::vector<std::string> oven{"--port", dead.Terminal.Path(), "--device", "5:sensor", "--retries", "0"};
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
        ExpectOneLine(Export(c.Source, c.Format, c.Out), c.Status, c.Says);
        EXPECT_EQ(Contents("old"), "old");
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_Folder.Path), {}), 2)
        << "nothing else is left behind";
}

struct WrittenReport {
    std::string Document;
    int Pages;
};

WrittenReport WriteReport(const std::string& file, int rows) {
    station::PdfReport report(FromCivilTime({2026, 11, 22, 21, 4, 0}));
    EXPECT_EQ(report.Open(file), "");
    report.PageSetup({1.5, 1.5, 1.5, 1.5, 20, 14});
    for (const auto use : {ReportFont::Header, ReportFont::Heading, ReportFont::Cell, ReportFont::Title})
        report.Font(use, "Arial", 10);
    report.Title(std::string(500, 'x') + "\xFF");
    report.HeaderLine("Device: \xC3\xBC\n\x01\xC3");
    report.HeaderLine("Печь: Φούρνος 烤箱 오븐 مخزن 5 תנור ओवन 🔥");
    report.ColumnHeadings({"Date", "Time", "Temp"});
    report.Plot({0, 2, "C", 30.0, 10.0});
    for (int i = 0; i < rows; ++i)
        report.Row({Date{46000.0 + i}, "05:46", Currency{10000 * std::int64_t{i % 40}}});
    report.Close();
    WrittenReport written{ContentsOf(file), 0};
    for (std::size_t at = 0; (at = written.Document.find("/Type /Page %", at)) != std::string::npos; ++at)
        ++written.Pages;
    return written;
}

// Odd texts, any script and numbers of rows that a page must take; how it looks is for people to judge.
TEST_F(ExportCommandTest, ReportsOfAnySize) {
    for (const int rows : {0, 77, 500}) {
        const auto written = WriteReport(Path("one.pdf"), rows);
        EXPECT_EQ(written.Pages, rows < 80 ? 1 : 4) << rows;
        EXPECT_TRUE(WriteReport(Path("again.pdf"), rows).Document == written.Document) << "the same for the same rows";
    }
}

}  // namespace
}  // namespace orvix::tests
