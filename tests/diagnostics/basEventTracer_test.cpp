#include "diagnostics/basEventTracer.h"

#include <gtest/gtest.h>

#include "tests/support/test_host.h"

namespace orvix {
namespace {

constexpr char kToday[] = "/lib/Log/2026-11-22.log";

class TracerTest : public testing::Test {
protected:
    tests::World m_World;
    tests::TestHost m_Host{m_World};
    cEventTracer m_Tracer{m_Host.Services};
    std::map<std::string, std::string>& m_Files = m_Host.Stores.FileContents;
};

struct Step {
    std::string Text;
    TraceLayout Layout;
};

TEST_F(TracerTest, LaysOutEntries) {
    const TraceLayout plain;
    const TraceLayout run{.Repeatable = true, .Indent = 1};
    struct Case {
        const char* Name;
        std::vector<Step> Steps;
        const char* Expected;
    };
    const Case cases[] = {
        {"indent", {{"a", {.Indent = 2}}, {"b", {.Indent = -3}}}, "  a\nb\n"},
        {"lines before after lines after", {{"a", {.LinesAfter = 1}}, {"b", {.LinesBefore = 2}}}, "a\n\n\nb\n"},
        {"continuation", {{"a", {.Continue = true}}, {"b", plain}, {"c", plain}}, "a, b\nc\n"},
        {"continuation ends with the file", {{"a", {.Continue = true}}}, "a, \n"},
        {"run of five",
         {{"e", run}, {"E", run}, {"e", run}, {"e", run}, {"e", run}, {"next", plain}},
         " e5  * \nnext\n"},
        {"run of one", {{"e", run}, {"f", run}, {"g", plain}}, " e\n f\ng\n"},
        {"flooding event", {{"x_Timer", {.Continue = true}}, {"x_Timer", plain}}, "x_Timer2  * \n"},
        {"lines after a run",
         {{"e", {.Repeatable = true, .LinesAfter = 1}}, {"e", run}, {"g", {.LinesBefore = 2}}},
         "e2  * \n\n\ng\n"},
        {"same text, not repeatable", {{"e", run}, {"e", plain}}, " e\ne\n"},
    };
    for (const Case& each : cases) {
        m_Files.clear();
        m_Tracer.LogMode(true);
        for (const Step& step : each.Steps)
            m_Tracer.TraceEvent(step.Text, step.Layout);
        m_Tracer.LogMode(false);
        EXPECT_EQ(m_Files[kToday], each.Expected) << each.Name;
    }
}

TEST_F(TracerTest, SwitchedOffItTouchesNothing) {
    m_Tracer.TraceEvent("DebugForOutput Open");
    m_Tracer.PLXTrcV("lost", 1);
    m_Tracer.TraceToViewer({"lost"});
    m_Tracer.LogMode(false);
    EXPECT_EQ(m_Host.Viewer.Searches, 0);
    EXPECT_TRUE(m_Files.empty());
    EXPECT_TRUE(m_Host.Stores.Folders.empty());
}

TEST_F(TracerTest, FileIsCreatedWithItsFirstLineAndKeptOverMidnight) {
    m_Tracer.LogMode(true);
    EXPECT_TRUE(m_Files.empty());
    m_Host.Viewer.IsThere = true;
    m_Host.Run(13 * 3600 * 1000);
    m_Tracer.TraceEvent("after midnight");
    EXPECT_EQ(m_Host.Viewer.Lines.back(), "host: 4096: 1: 20261123 010000: after midnight");
    m_Tracer.TraceEvent("DebugForOutput Close");
    m_Tracer.TraceEvent("in no file");
    m_Tracer.TraceEvent("DebugForOutput Open");
    m_Tracer.TraceEvent("next day");
    EXPECT_EQ(m_Files[kToday], "after midnight\n");
    EXPECT_EQ(m_Files["/lib/Log/2026-11-23.log"], "next day\n");
}

TEST_F(TracerTest, NewFolderWhileTracing) {
    m_Tracer.LogMode(true);
    m_Tracer.TraceEvent("a_Timer");
    m_Tracer.LogPath("/one/");
    m_Tracer.TraceEvent("b");
    m_Tracer.LogPath("C:\\two\\");
    cEventTracer(m_Host.Services).TraceEvent("c");
    EXPECT_EQ(m_Files[kToday], "a_Timer\n");
    EXPECT_EQ(m_Files["/one/2026-11-22.log"], "b\n");
    EXPECT_EQ(m_Files["C:\\two\\2026-11-22.log"], "c\n");
}

TEST_F(TracerTest, VariablesAndFailures) {
    m_Tracer.LogMode(true);
    m_Tracer.PLXTrcV("n", 21.5);
    m_Tracer.PLXTrcV("b", true);
    m_Tracer.PLXTrcV("x", Null{});
    EXPECT_EQ(m_Files[kToday], "n=21.5\nb=True\nx=(unprintable value)\n");
    m_Host.Stores.FoldersCannotBeCreated = true;
    EXPECT_NO_THROW(m_Tracer.LogPath("/forbidden"));
    EXPECT_NO_THROW(m_Tracer.TraceEvent("skipped or written, never raised"));
    m_Host.Viewer.IsThere = true;
    m_Host.Stores.FilesCannotBeWritten = true;
    EXPECT_NO_THROW(m_Tracer.TraceEvent("seen all the same"));
    EXPECT_EQ(m_Host.Viewer.Lines.size(), 1U);
}

TEST_F(TracerTest, ViewerGetsEachPieceAndEveryKindOfValue) {
    const TraceLayout run{.Repeatable = true};
    m_Host.Viewer.IsThere = true;
    m_Tracer.LogMode(true);
    m_Tracer.TraceEvent("a", {.Continue = true, .Indent = 2, .LinesBefore = 1});
    for (const char* text : {"e", "E", "f"})
        m_Tracer.TraceEvent(text, run);
    m_Tracer.TraceEvent("DebugForOutput Close");
    m_Tracer.TraceToViewer({"C:\\x: y", 21.5, ByteArray{1, 255}, Null{}, ByteArray{}, true});
    m_Tracer.TraceToViewer({});
    const std::string start = "host: 4096: 1: 20261122 120000: ";
    std::vector<std::string> expected{"", "  a, ", "e", "2  * ", "f"};
    expected.emplace_back("C - \\x -  y\t21.5\t1\t255\t(unprintable value)\tTrue");
    expected.emplace_back("");
    for (std::string& line : expected)
        line.insert(0, start);
    EXPECT_EQ(m_Host.Viewer.Lines, expected);
}

TEST_F(TracerTest, AViewerThatHangsCostsFiveSecondsALineAndNothingElse) {
    m_Host.Viewer.IsThere = m_Host.Viewer.Hangs = true;
    m_Tracer.LogMode(true);
    const auto start = m_Host.Apartment.Now();
    EXPECT_NO_THROW(m_Tracer.TraceEvent("one"));
    EXPECT_NO_THROW(m_Tracer.TraceEvent("two"));
    EXPECT_EQ(m_Host.Apartment.Now() - start, std::chrono::seconds(10));
    EXPECT_EQ(m_Files[kToday], "one\ntwo\n");
}

}  // namespace
}  // namespace orvix
