#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <vector>

#include "station/store/recording_reader.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"
#include "tests/support/test_folder.h"

namespace orvix::station {
namespace {

using namespace std::chrono_literals;
using Kind = LineEvent::Kind;
using tests::Bytes;

const RecordingHeader kHeader{1'766'000'000'000, "0.1.0", true};

BusSetup SomeBus() {
    BusSetup bus;
    bus.PortLabel = "/dev/ttyUSB0";
    bus.Devices = {{5, 106, "Oven \"A\"\n", {}}, {7, 104, {}, {}}};
    bus.Devices[0].Limits = {-3.5, 80.25, 0, 0, 3};
    bus.Devices[1].Limits = {{}, {}, 5, 8, 1};
    return bus;
}

std::string SomeLines() {
    const auto bus = SomeBus();
    auto fewer = bus;
    fewer.Devices.pop_back();
    std::string text = SetupLine(0, {0ms, bus}) + SetupLine(1, {400us, fewer});
    for (const auto& event : std::vector<LineEvent>{
             {.Time = 1ms, .What = Kind::Opened},
             {.Time = 2ms, .What = Kind::Discarded, .Bytes = Bytes("00 FF")},
             {.Time = 2ms, .What = Kind::Sent, .Bytes = Bytes("1D 04 05 00 0B 00 0B 01 03"), .Lasted = 9ms},
             {.Time = 19ms, .What = Kind::Echoed, .Bytes = Bytes("1D 04 05 00 0B 00 0B 01 03")},
             {.Time = 20ms, .What = Kind::Received, .Bytes = Bytes("1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03")},
             {.Time = 90ms, .What = Kind::Waited},
             {.Time = 1h, .What = Kind::Closed}}) {
        text += EventLine(0, event);
    }
    return text + EventLine(1, {.Time = 500us, .What = Kind::Failed, .Reason = "port 2: \xFF gone\n\"\\"}) +
           SetupLine(0, {1h, fewer}) + GoneLine(0, 1h) + EndLine(2h);
}

RecordingReader ReaderOf(std::string text, std::size_t atOnce = 10'000) {
    return RecordingReader([text = std::move(text), atOnce, at = std::size_t{0}]() mutable {
        const auto bytes = text.substr(std::min(at, text.size()), atOnce);
        at += bytes.size();
        return bytes;
    });
}

std::string Written(const RecordedLine& line) {
    if (const auto* setup = std::get_if<BusSetup>(&line.What)) return SetupLine(line.Bus, {line.Time, *setup});
    if (const auto* event = std::get_if<LineEvent>(&line.What)) return EventLine(line.Bus, *event);
    return std::holds_alternative<BusGone>(line.What) ? GoneLine(line.Bus, line.Time) : EndLine(line.Time);
}

/// All that can be read, written again; `failure`: why no more could.
std::string WrittenAgain(RecordingReader& reader, std::string* failure = nullptr) {
    auto text = HeaderLine(reader.Header());
    try {
        while (const auto line = reader.Next())
            text += Written(*line);
    } catch (const Error& error) {
        if (failure == nullptr) throw;
        *failure = error.Description;
    }
    return text;
}

TEST(Recording, ReadsWhatWasWrittenAndWhatIsLeftOfIt) {
    const auto header = HeaderLine(kHeader);
    const auto whole = header + SomeLines();
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const auto left = whole.substr(0, size);
        if (size < header.size()) {
            EXPECT_THROW(ReaderOf(left), RecordingError) << size;
            continue;
        }
        auto reader = ReaderOf(left, 1 + size % 13);
        EXPECT_EQ(WrittenAgain(reader), left.substr(0, left.rfind('\n') + 1));
        EXPECT_EQ(reader.IsCutOff(), left.back() != '\n');
    }
}

TEST(Recording, AVersion1HasNoLimits) {
    auto reader = ReaderOf(
        "nimbo1-recording 1 {\"started_unix_ms\":5,\"program\":\"0.0.9\"}\n"
        R"(104 1 bus {"port":"a","number":1,"every_ms":1000,"retries":3,"timeout_factor_ms":10,)"
        R"("devices":[{"address":5,"model":106,"name":"Oven"}]})"
        "\n20144 1 opened\n");
    EXPECT_EQ(reader.Header().StartedUnixMilliseconds, 5);
    EXPECT_FALSE(reader.Header().NamesPorts);
    const auto line = reader.Next();
    ASSERT_TRUE(line && std::holds_alternative<BusSetup>(line->What));
    EXPECT_EQ(std::get<BusSetup>(line->What).Devices, (std::vector<DeviceSetup>{{5, 106, "Oven", {}}}));
    ASSERT_TRUE(reader.Next());
    EXPECT_FALSE(reader.Next());
}

TEST(Recording, AWrongLineIsNamed) {
    const auto header = HeaderLine(kHeader);
    const auto bus = header + SetupLine(0, {0ms, SomeBus()});
    const auto busWith = [&](const std::string& device) {
        return header + R"(1 1 bus {"port":"a","number":1,"every_ms":1,"retries":0,"timeout_factor_ms":1,"devices":[)" +
               device + "]}\n";
    };
    const struct {
        std::string Text;
        const char* Says;
    } cases[] = {
        {"", "line 1"},
        {"hello\n", "not a recording"},
        {"nimbo1-recording 3 {}\n", "version 3"},
        {"nimbo1-recording 1 {\n", "JSON"},
        {"nimbo1-recording 1 {}\n", "started_unix_ms"},
        {R"(nimbo1-recording 1 {"started_unix_ms":18446744073709551615,"program":""})"
         "\n",
         "started_unix_ms"},
        {R"(nimbo1-recording 2 {"started_unix_ms":1,"program":"","names_ports":1})"
         "\n",
         "\"names_ports\" must be true or false"},
        {bus + "1 1 opened\n-1 1 opened\n", "line 4"},
        {bus + "99999999999999999999 1 opened\n", "line 3"},
        {bus + "1 0 opened\n", "counted from 1"},
        {bus + "1 100001 bus {}\n", "number of a bus"},
        {bus + "1 3 opened\n", "describes"},
        {header + "1 1 opened\n", "describes"},
        {header + "1 1 gone\n", "describes"},
        {bus + "1 1 gone now\n", "more than"},
        {header + "1 0 end 5\n", "more than"},
        {header + "1 1 bus {\n", "line 2 of the recording: it does not contain JSON"},
        {busWith("5"), "line 2 of the recording: it has no \"address\""},
        {busWith(R"({"address":5,"model":106,"name":"","alarm":{"low":"x"}})"), "\"low\" must be a number"},
        {busWith(R"({"address":5,"model":106,"name":"","alarm":{"inputs_on":256}})"), "\"inputs_on\" must be a number"},
        {busWith(R"({"address":5,"model":106,"name":"","alarm":{"inputs_on":0,"inputs_off":0,"hold_off":0}})"),
         "\"hold_off\" must be a number from 1"},
        {bus + SetupLine(0, {1ms, {}}), "another port"},
        {bus + "1 1 exploded\n", "exploded"},
        {bus + "1 1 opened 1D\n", "more than"},
        {bus + "1 1 sent 1D0 5\n", "pairs"},
        {bus + "1 1 sent 1d 5\n", "pairs"},
        {bus + "1 1 sent 1D\n", "duration"},
        {bus + "1 1 failed gone\n", "JSON"},
        {bus + "\n", "line 3"},
        {bus + "2 1 opened\n1 1 closed\n", "earlier"},
        {header + std::string(2'000'000, '1'), "long"},
        {busWith(std::string(400'000, '[') + std::string(400'000, ']')), "it has no \"address\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Text.substr(0, 200));
        try {
            auto reader = ReaderOf(c.Text);
            WrittenAgain(reader);
            ADD_FAILURE() << "accepted";
        } catch (const RecordingError& error) {
            EXPECT_NE(std::string(error.what()).find(c.Says), std::string::npos) << error.what();
        }
    }
}

std::string Packed(const std::string& text) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string packed(deflateBound(&stream, text.size()), '\0');
    std::string in = text;
    stream.next_in = reinterpret_cast<Bytef*>(in.data());
    stream.avail_in = static_cast<uInt>(in.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

/// Larger than what is read at once, packed or not.
std::string LongText() {
    auto text = HeaderLine(kHeader) + SetupLine(0, {0ms, SomeBus()});
    std::uint32_t random = 1;
    for (int i = 0; i < 20'000; ++i) {
        random = random * 1664525 + 1013904223;
        const auto bits = random >> 8;
        const std::string bytes{static_cast<char>(bits), static_cast<char>(bits >> 8), static_cast<char>(bits >> 16)};
        text += EventLine(0, {.Time = std::chrono::milliseconds(i), .What = Kind::Received, .Bytes = bytes});
    }
    return text + EndLine(1h);
}

TEST(Recording, APackedOneIsReadAsFarAsItIsWhole) {
    const auto text = LongText();
    const auto packed = Packed(text);
    ASSERT_GT(packed.size(), 130'000U);
    auto damaged = packed;
    damaged[damaged.size() / 2] = static_cast<char>(~damaged[damaged.size() / 2]);
    auto wrongSum = packed;
    wrongSum[wrongSum.size() - 8] = static_cast<char>(~wrongSum[wrongSum.size() - 8]);
    const auto half = text.find('\n', text.size() / 2) + 1;
    const struct {
        std::string File;
        double Least;      ///< so much of the text is read
        std::string Says;  ///< empty: all is well
        bool IsGarbled = false;
    } cases[] = {
        {text, 1, ""},
        {packed, 1, ""},
        {Packed(text.substr(0, half)) + Packed(text.substr(half)), 1, ""},
        {packed.substr(0, packed.size() / 2), 0.45, "any.name, byte " + std::to_string(packed.size() / 2)},
        {packed.substr(0, packed.size() - 1), 1, "the packed data ends too early"},
        // What comes of it may be garbled lines, or nothing more.
        {damaged, 0.3, " ", true},
        {wrongSum, 1, "damaged (incorrect data check)"},
        {packed + "more", 1, "something else follows the packed data"},
    };
    const tests::TestFolder folder;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Says + " " + std::to_string(c.File.size()));
        const auto file = folder.Path + "/any.name";
        std::ofstream(file, std::ios::binary) << c.File;
        RecordingReader reader(file);
        std::string failure;
        const auto read = WrittenAgain(reader, &failure);
        EXPECT_GE(static_cast<double>(read.size()), c.Least * static_cast<double>(text.size()));
        EXPECT_TRUE(text.starts_with(read) || c.IsGarbled);
        EXPECT_EQ(failure.empty(), c.Says.empty()) << failure;
        EXPECT_NE(failure.find(c.Says), std::string::npos) << failure;
    }
}

TEST(ReplayCommand, PlaysWhatIsThereAndSaysInOneLineWhyNoMore) {
    const tests::TestFolder folder;
    tests::ExpectOneLine({"replay", folder.Path + "/none"}, 1, "none");
    tests::ExpectOneLine({"replay", tests::kProgram}, 1, "line 1");
    tests::ExpectOneLine({"record"}, 2, "file");
    tests::ExpectOneLine({"record", tests::kProgram, "--port", "/dev/null", "--device", "5:sensor", "--for", "1s"}, 1,
                         "File exists");
    tests::ExpectOneLine({"simulate", "--device", "5:sensor", "--fault", "unplug"}, 2, "--link");
}

/// What a station tells that runs for a moment, played back.
TEST(ReplayCommand, PlaysARecordingPackedOrNotAndAnswersHealth) {
    const tests::TestFolder folder;
    const auto file = folder.Path + "/line.rec";
    const auto live = tests::RunProgram({"run", "--record", file, "--every", "100ms", "--json", "--for", "2s"});
    EXPECT_EQ(live.Status, 0) << live.Err;
    std::ofstream(file + ".gz", std::ios::binary) << Packed(tests::ContentsOf(file));
    const auto text = tests::ContentsOf(file);
    std::ofstream(file + ".half", std::ios::binary) << Packed(text).substr(0, Packed(text).size() - 20);

    const auto plain = tests::RunProgram({"replay", "--fast", "--json", file});
    EXPECT_EQ(plain.Status, 0) << plain.Err;
    const auto linesOf = [](const std::string& out) {
        return static_cast<double>(std::count(out.begin(), out.end(), '\n'));
    };
    // What was on its way between two threads in the end.
    EXPECT_NEAR(linesOf(plain.Out), linesOf(live.Out), 3);
    const auto packed = tests::RunProgram({"replay", "--fast", "--json", file + ".gz"});
    EXPECT_EQ(packed.Out, plain.Out);
    const auto half = tests::RunProgram({"replay", "--fast", "--json", file + ".half"});
    EXPECT_EQ(half.Status, 1);
    EXPECT_NE(half.Err.find("the packed data ends too early"), std::string::npos) << half.Err;
    EXPECT_TRUE(plain.Out.starts_with(half.Out)) << half.Out << "\n----\n" << plain.Out;
    EXPECT_FALSE(half.Out.empty());

    // One that goes on for an hour in real time.
    std::ofstream(file + ".long") << text.substr(0, text.rfind('\n', text.size() - 2) + 1) << EndLine(1h);
    tests::Program playing({"replay", "--json", "--data", folder.Path, file + ".long"});
    ASSERT_TRUE(playing.AwaitOutput("\"valid\":true"));
    const auto health = tests::RunProgram({"health", "--data", folder.Path});
    EXPECT_EQ(health.Status, 0) << health.Err;
    EXPECT_NE(health.Out.find("simulated"), std::string::npos) << health.Out;
    playing.Signal(SIGTERM);
    EXPECT_EQ(playing.Finish().Status, 0);
}

}  // namespace
}  // namespace orvix::station
