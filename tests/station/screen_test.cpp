#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <functional>

#include "platform/file_descriptor.h"
#include "station/model/text.h"
#include "station/run/latest_values.h"
#include "station/sink/screen/layout.h"
#include "station/words/quantity_text.h"
#include "tests/station/program.h"
#include "tests/station/readings.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using namespace orvix::station;

constexpr std::int64_t kNow = 1'700'000'000'000;  // 22:13:20

std::vector<std::string> TextsOf(const std::vector<StyledLine>& lines) {
    std::vector<std::string> texts;
    for (const auto& line : lines) {
        texts.emplace_back();
        for (const auto& span : line)
            texts.back() += span.Text;
        texts.back().erase(texts.back().find_last_not_of(' ') + 1);
    }
    return texts;
}

Reading ReadingOf(int address, const char* name, const ReadingValue& value, std::int64_t age, Quality quality) {
    auto reading = ReadingAt(kNow, "/dev/ttyUSB0", address);
    reading.Name = name;
    reading.LastGood = value;
    reading.LastGoodUnixMilliseconds = kNow - age;
    if (reading.LastGood.index() != 0) reading.Age = std::chrono::milliseconds(age);
    reading.Quality = quality;
    return reading;
}

ScreenContent Example() {
    std::setlocale(LC_CTYPE, "C.UTF-8");
    ScreenContent content;
    content.Values = {ReadingOf(5, "Öfen", 21.512, 200, Quality::Good), ReadingOf(7, "Tür", 5, 7000, Quality::Stale),
                      ReadingOf(12, "Dach\x1b[2", -127.25, 754'000, Quality::Offline),
                      ReadingOf(200, "", {}, 0, Quality::Offline)};
    content.Values[3].UnixMilliseconds = 0;
    for (const double degrees : {20.0, 21.0, 22.0, 26.0})
        content.Trends[IdOf("/dev/ttyUSB0", 5)].Take(degrees);
    for (const ReadingValue& value : {ReadingValue(4), ReadingValue(5), ReadingValue(), ReadingValue(5)})
        content.Trends[IdOf("/dev/ttyUSB0", 7)].Take(value);
    content.Trends[IdOf("/dev/ttyUSB0", 12)].Take(-127.25);
    content.Events = {
        {kNow - 60'000, "long gone", Style::Plain},
        {kNow - 7000, "/dev/ttyUSB0, 12 Dach: No complete reply came from the device in time", Style::Bad}};
    content.Readings = 120;
    content.FailedReadings = 3;
    content.UnixMilliseconds = kNow;
    content.Running = 125s;
    return content;
}

TEST(Screen, ShowsDevicesEventsAndStatus) {
    const std::vector<std::string> expected{
        " nimbo1  /dev/ttyUSB0                       22:13:20 UTC",
        " ADDR  NAME          VALUE     AGE  STATE    TREND",
        "    5  Öfen       21.51 °C     now  good     ▁▂▃▇",
        "    7  Tür        00000101     7 s  stale    ▁▇×▁",
        "   12  Dach?[2  -127.25 °C  12 min  offline  ▄",
        "  200                   --      --  waiting",
        " ─ Events ──────────────────────────────────────────────",
        " 22:12:20  long gone",
        " 22:13:13  /dev/ttyUSB0, 12 Dach: No complete reply came",
        "           from the device in time",
        "",
        " 4 devices: 1 good, 1 stale, 2 offline  Ctrl-C or q ends",
    };
    EXPECT_EQ(TextsOf(LayOut(Example(), {.Columns = 57, .Rows = 12})), expected);
}

TEST(Screen, IsAsciiWhereTheTerminalIs) {
    auto content = Example();
    content.IsUtf8 = false;
    for (const auto& line : TextsOf(LayOut(content, {.Columns = 100, .Rows = 24}))) {
        for (const char c : line)
            EXPECT_TRUE(c >= ' ' && c <= '~') << line;
    }
    const auto row = TextsOf(LayOut(content, {.Columns = 57, .Rows = 8}))[2];
    EXPECT_EQ(row, "    5  ?fen        21.51 C     now  good     _.:#");
}

TEST(Screen, FitsEverySizeAndKeepsTheLatestEvent) {
    auto content = Example();
    content.Values.push_back(content.Values[0]);
    content.Values.back().Port = "/dev/serial/by-id/漢字漢字漢字漢字漢字漢字";
    for (int columns = 1; columns < 130; ++columns) {
        for (int rows = 1; rows < 40; ++rows) {
            const auto lines = TextsOf(LayOut(content, {.Columns = columns, .Rows = rows}));
            ASSERT_EQ(lines.size(), static_cast<std::size_t>(rows));
            bool hasEvent = false;
            for (const auto& line : lines) {
                ASSERT_LE(DisplayWidth(line), columns) << line;
                hasEvent = hasEvent || line.find("22:13:13") != std::string::npos;
            }
            if (columns > 20 && rows >= 10) {
                EXPECT_TRUE(hasEvent) << columns << " x " << rows;
            }
        }
    }
}

TEST(Screen, ScrollsThroughMoreDevicesThanFit) {
    auto content = Example();
    content.Values.clear();
    for (int address = 1; address <= 64; ++address)
        content.Values.push_back(ReadingOf(address, "Sensor", 1.0, 0, Quality::Good));
    const ScreenSize size{.Columns = 80, .Rows = 12};
    content.FirstDevice = 64 - DevicesShown(content, size);
    const auto lines = TextsOf(LayOut(content, size));
    EXPECT_TRUE(lines[1 + DevicesShown(content, size)].starts_with("   64  Sensor"));
    EXPECT_NE(lines[2 + DevicesShown(content, size)].find(" devices 59 to 64 of 64, "), std::string::npos) << lines[8];
}

TEST(Text, IsSafeForTerminals) {
    const struct {
        std::string Text;
        const char* Utf8;
        const char* Ascii;
    } cases[] = {
        {"21.5 °C", "21.5 °C", "21.5 C"},
        {"a\x1b[31m\x7f\n", "a?[31m??", "a?[31m??"},
        {"\xC2\x9B", "?", "?"},                // a control character in two bytes
        {"\xC0\x9B\xFF\xC3", "????", "????"},  // none, cut off
        {"\xED\xA0\x80|\xF4\x90\x80\x80", "???|????", "???|????"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ForTerminal(c.Text, true), c.Utf8);
        EXPECT_EQ(ForTerminal(c.Text, false), c.Ascii);
    }
}

TEST(Text, DurationsHaveTwoUnits) {
    const std::pair<Duration, const char*> cases[] = {
        {0ms, "0 ms"},  {999ms, "999 ms"},      {1s, "1 s"},      {119s, "1 min 59 s"},
        {3600s, "1 h"}, {11'100s, "3 h 5 min"}, {25h, "1 d 1 h"}, {24h + 59min, "1 d"},
    };
    for (const auto& [time, text] : cases)
        EXPECT_EQ(DurationText(time), text);
}

TEST(LatestValues, FallFromGoodToOfflineByFailuresAndByAge) {
    LatestValues values;
    values.Expect("p", {5, 106, "Oven", {}}, 1s);
    const Duration now = 100s;
    EXPECT_EQ(values.At(now)[0].Quality, Quality::Offline);
    auto reading = ReadingOf(5, "Oven", {}, 0, Quality::Offline);
    reading.Port = "p";
    const auto take = [&](const ReadingValue& value) {
        reading.Value = value;
        // What the time of day does in between is of no importance.
        reading.UnixMilliseconds -= 3'600'000;
        values.Take(reading, 1s, now);
        return reading.Quality;
    };
    EXPECT_EQ(take({}), Quality::Offline);
    EXPECT_EQ(take(21.5), Quality::Good);
    EXPECT_EQ(values.At(now + 3000ms)[0].Quality, Quality::Good);
    EXPECT_EQ(values.At(now + 3001ms)[0].Quality, Quality::Stale);
    EXPECT_EQ(values.At(now + 15'001ms)[0].Quality, Quality::Offline);
    for (const auto quality : {Quality::Stale, Quality::Stale, Quality::Offline})
        EXPECT_EQ(take({}), quality);
    EXPECT_EQ(FreshnessText(reading), "offline, 0 ms old");
    EXPECT_EQ(values.At(now).size(), 1U);
}

/// The program on a terminal of its own.
class TerminalProgram {
public:
    explicit TerminalProgram(const std::string& folder) {
        winsize size{.ws_row = 24, .ws_col = 90, .ws_xpixel = 0, .ws_ypixel = 0};
        int terminal = -1;
        m_Process = ::forkpty(&terminal, nullptr, nullptr, &size);
        if (m_Process == 0) {
            for (const auto& [name, value] : {std::pair("TERM", "xterm"), {"LC_ALL", "C.UTF-8"}})
                ::setenv(name, value, 1);
            ::execl(kProgram, kProgram, "run", "--data", folder.c_str(), nullptr);
            ::_exit(127);
        }
        m_Terminal = platform::FileDescriptor(terminal);
        ::tcgetattr(m_Terminal.Get(), &m_Before);
    }

    /// Reads until the text has come; false at the end of the output.
    bool Await(const std::string& text) {
        char buffer[4096];
        while (m_Output.find(text) == std::string::npos) {
            const auto count = ::read(m_Terminal.Get(), buffer, sizeof buffer);
            if (count <= 0) return false;
            m_Output.append(buffer, static_cast<std::size_t>(count));
        }
        return true;
    }
    void Resize(unsigned short rows, unsigned short columns) {
        const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        ::ioctl(m_Terminal.Get(), TIOCSWINSZ, &size);
    }
    void Press(char key) { ASSERT_EQ(::write(m_Terminal.Get(), &key, 1), 1); }
    void Signal(int number) const { ::kill(m_Process, number); }
    bool IsAsBefore() const {
        termios now{};
        ::tcgetattr(m_Terminal.Get(), &now);
        return now.c_lflag == m_Before.c_lflag && now.c_iflag == m_Before.c_iflag;
    }
    int Finish() {
        int status = -1;
        ::waitpid(m_Process, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t m_Process = -1;
    platform::FileDescriptor m_Terminal;
    termios m_Before{};
    std::string m_Output;
};

// The sequences are those that switch an xterm to its second screen and back.
TEST(Screen, LivesOnATerminalAndGivesItBack) {
    const struct {
        const char* What;
        std::function<void(TerminalProgram&)> End;
    } ways[] = {
        {"key", [](TerminalProgram& program) { program.Press('q'); }},
        {"Ctrl-C", [](TerminalProgram& program) { program.Press('C' - '@'); }},
        {"signal", [](TerminalProgram& program) { program.Signal(SIGTERM); }},
    };
    for (const auto& way : ways) {
        SCOPED_TRACE(way.What);
        const TestFolder folder;
        TerminalProgram program(folder.Path);
        ASSERT_TRUE(program.Await("\x1b[?1049h"));
        ASSERT_TRUE(program.Await("21.5 °C"));
        EXPECT_FALSE(program.IsAsBefore());
        program.Resize(30, 120);
        ASSERT_TRUE(program.Await("\x1b[30;"));
        way.End(program);
        EXPECT_TRUE(program.Await("\x1b[?1049l"));
        EXPECT_EQ(program.Finish(), 0);
        EXPECT_TRUE(program.IsAsBefore());
    }
}

}  // namespace
}  // namespace orvix::tests
