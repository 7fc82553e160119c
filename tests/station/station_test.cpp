#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "tests/support/test_folder.h"
#include "tests/station/faulty_bus.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"

namespace orvix::tests {
namespace {

using Json = nlohmann::json;

// 21.5 degrees from the sensor at address 5.
constexpr char kGoodReply[] = "1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03";

std::vector<Piece> Whole(const std::string& hex) {
    return {{Bytes(hex)}};
}

std::vector<Piece> OneByOne(const std::string& hex) {
    std::vector<Piece> pieces;
    for (const char byte : Bytes(hex))
        pieces.push_back({std::string(1, byte), std::chrono::milliseconds(1)});
    return pieces;
}

std::vector<Json> Objects(const std::string& lines) {
    std::vector<Json> objects;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);)
        objects.push_back(Json::parse(line));
    return objects;
}

struct LineCase {
    const char* What;
    std::vector<Piece> Answer;
    int Status;
    const char* Code;  ///< empty: a good reading
};

// What a line delivers, and what the reader of one temperature gets for it.
TEST(Read, TellsTheValueOrTheRightError) {
    const LineCase cases[] = {
        {"a good reply", Whole(kGoodReply), 0, ""},
        {"a good reply in one-byte pieces", OneByOne(kGoodReply), 0, ""},
        {"trailing rubbish", Whole(std::string(kGoodReply) + "55 AA 1D"), 0, ""},
        {"leading rubbish", Whole(std::string("55 02") + kGoodReply), 1, "0x8004158D"},
        {"wrong end byte", Whole("1D 08 05 04 0B 00 83 2C 00 00 A0 0D 04"), 1, "0x8004158D"},
        {"another device's address", Whole("1D 08 06 04 0B 00 83 2C 00 00 A0 0E 03"), 1, "0x8004158D"},
        {"address 0", Whole("1D 08 00 04 0B 00 83 2C 00 00 A0 08 03"), 0, ""},
        {"broken inner checksum", Whole("1D 08 05 04 0B 00 83 2C 00 00 A1 0D 03"), 1, "0x8004158C"},
        {"broken outer checksum", Whole("1D 08 05 04 0B 00 83 2C 00 00 A0 FF 03"), 0, ""},
        {"a refusal", Whole("1D 05 05 01 07 00 C9 CF 00 03"), 1, "0x8004158B"},
        {"half a reply", Whole("1D 08 05 04 0B 00"), 1, "0x80041589"},
        {"nothing", {}, 1, "0x80041589"},
    };
    for (const auto& line : cases) {
        SCOPED_TRACE(line.What);
        FaultyBus bus([&](const std::string&, int) { return line.Answer; });
        const auto result = RunProgram({"read", "--port", bus.Path(), "--device", "5:sensor:Oven", "--retries", "1",
                                        "--timeout-factor", "40", "temperature", "--json"});
        ASSERT_EQ(result.Status, line.Status) << result.Out << result.Err;
        const auto objects = Objects(result.Out);
        ASSERT_EQ(objects.size(), 1U);
        const auto& reading = objects[0];
        EXPECT_EQ(reading["event"], "reading");
        EXPECT_EQ(reading["port"], bus.Path());
        EXPECT_EQ(reading["address"], 5);
        EXPECT_EQ(reading["model"], 106);
        EXPECT_EQ(reading["name"], "Oven");
        EXPECT_EQ(reading["variable"], "temperature");
        EXPECT_EQ(reading["valid"], line.Status == 0);
        if (line.Status == 0) {
            EXPECT_EQ(reading["value"], 21.5);
        } else {
            EXPECT_TRUE(reading["value"].is_null());
            EXPECT_EQ(reading["error"]["code"], line.Code);
            EXPECT_FALSE(reading["error"]["text"].get<std::string>().empty());
        }
    }
}

TEST(Read, TriesAgainAfterABadReply) {
    int requests = 0;
    FaultyBus bus([&](const std::string&, int number) {
        requests = number + 1;
        return Whole(number < 2 ? "1D 08 05 04 0B 00 83 2C 00 00 A1 0D 03" : kGoodReply);
    });
    const auto result =
        RunProgram({"read", "--port", bus.Path(), "--device", "5:sensor", "--timeout-factor", "40", "temperature"});
    EXPECT_EQ(result.Status, 0) << result.Err;
    EXPECT_EQ(result.Out, "21.5\n");
    EXPECT_EQ(requests, 3);
}

TEST(Read, AcceptsEveryVariableAndAnswersWithTheSystemsOwnError) {
    FaultyBus bus([](const std::string&, int) { return Whole("1D 06 05 02 00 07 41 FE BA 03 03"); });
    const struct {
        const char* Variable;
        int Status;
        const char* Out;
        const char* Err;
    } cases[] = {
        {"serial", 0, "41fe\n", ""},
        {"status", 1, "", "Invalid device model"},
        {"log", 1, "", "Invalid device model"},
        {"alarm", 1, "", "undefined VarID"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Variable);
        const auto result =
            RunProgram({"read", "--port", bus.Path(), "--device", "5:sensor", "--timeout-factor", "40", c.Variable});
        EXPECT_EQ(result.Status, c.Status);
        EXPECT_EQ(result.Out, c.Out);
        EXPECT_NE(result.Err.find(c.Err), std::string::npos) << result.Err;
    }
}

TEST(Run, ADeadDeviceFailsUnderItsOwnName) {
    FaultyBus bus(
        [](const std::string& request, int) { return request[2] == 5 ? Whole(kGoodReply) : std::vector<Piece>{}; });
    const auto result =
        RunProgram({"run", "--port", bus.Path(), "--device", "5:sensor:Oven", "--device", "9:sensor:Dead", "--every",
                    "400ms", "--for", "1500ms", "--retries", "0", "--json"});
    EXPECT_EQ(result.Status, 0) << result.Err;
    int good = 0;
    int dead = 0;
    for (const auto& reading : Objects(result.Out)) {
        ASSERT_EQ(reading["event"], "reading") << reading;
        const bool isDead = reading["address"] == 9;
        EXPECT_EQ(reading["name"], isDead ? "Dead" : "Oven");
        EXPECT_EQ(reading["valid"], !isDead) << reading;
        ++(isDead ? dead : good);
        if (isDead) {
            EXPECT_EQ(reading["error"]["code"], "0x80041589");
        }
    }
    EXPECT_GE(good, 2);
    EXPECT_GE(dead, 2);
}

TEST(Run, ReadsOnAfterTheLineHasVanishedAndComeBack) {
    const auto link = (std::filesystem::temp_directory_path() / ("nimbo1-line-" + std::to_string(getpid()))).string();
    const auto answer = [](const std::string&, int) { return Whole(kGoodReply); };
    auto bus = std::make_unique<FaultyBus>(answer);
    bus->Terminal().Link(link);
    Program program({"run", "--port", link, "--device", "5:sensor", "--every", "200ms", "--json"});
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    bus.reset();
    ASSERT_TRUE(program.AwaitOutput("\"valid\":false"));
    bus = std::make_unique<FaultyBus>(answer);
    bus->Terminal().Link(link);
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    program.Signal(SIGINT);
    EXPECT_EQ(program.Finish().Status, 0);
}

TEST(Run, StopsDuringAnExchangeWithTheDriverOnItsOwnThread) {
    FaultyBus bus(
        [](const std::string& request, int) { return request[2] == 5 ? Whole(kGoodReply) : std::vector<Piece>{}; });
    Program program({"run", "--driver-thread", "--port", bus.Path(), "--device", "5:sensor", "--device", "9:sensor",
                     "--every", "200ms", "--retries", "0", "--timeout-factor", "100", "--json"});
    // The dead device's turn comes right after the other's.
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    program.Signal(SIGINT);
    EXPECT_EQ(program.Finish().Status, 0);
}

TEST(Run, ShowsASimulatedBusWithoutArguments) {
    Program program({});
    ASSERT_TRUE(program.AwaitOutput("00000101"));
    program.Signal(SIGTERM);
    const auto result = program.Finish();
    EXPECT_EQ(result.Status, 0);
    EXPECT_NE(result.Out.find("21.5 °C"), std::string::npos) << result.Out;
    EXPECT_NE(result.Err.find("simulated"), std::string::npos) << result.Err;
}

TEST(Trace, ShowsTheLinesOfAllStationsAndOneViewerRunsAtATime) {
    const TestFolder runtime;
    setenv("XDG_RUNTIME_DIR", runtime.Path.c_str(), 1);
    Program viewer({"trace", "--json"});
    ASSERT_TRUE(viewer.AwaitError("waiting"));
    const auto second = RunProgram({"trace"});
    EXPECT_EQ(second.Status, 1);
    EXPECT_EQ(second.Err, "nimbo1: a trace viewer is running already\n");

    const auto data = runtime.Path + "/data";
    EXPECT_EQ(RunProgram({"read", "--trace", "--data", data, "--device", "5:sensor", "temperature"}).Status, 0);
    std::filesystem::create_directory(runtime.Path + "/other");
    std::ofstream(runtime.Path + "/other/Log") << "no folder";
    EXPECT_EQ(RunProgram({"read", "--trace", "--data", runtime.Path + "/other", "--device", "6:sensor", "temperature"})
                  .Status,
              0);
    for (int station = 0; station < 2; ++station)
        ASSERT_TRUE(viewer.AwaitOutput("cOrvixDriverNB1.Connect Port "));
    viewer.Signal(SIGINT);
    const auto result = viewer.Finish();
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(result.Status, 0);

    std::set<int> threads;
    for (const auto& line : Objects(result.Out)) {
        EXPECT_EQ(line["event"], "trace");
        EXPECT_EQ(line["program"], "nimbo1");
        EXPECT_EQ(line["time"].get<std::string>().size(), sizeof("2026-11-22T19:12:03Z") - 1);
        threads.insert(line["thread"].get<int>());
    }
    EXPECT_EQ(threads.size(), 2U);
    EXPECT_FALSE(std::filesystem::is_empty(data + "/Log"));
    EXPECT_TRUE(std::filesystem::is_empty(runtime.Path + "/nimbo1"));
}

TEST(CommandLine, WrongUsageIsOneClearLine) {
    const auto folder = std::filesystem::temp_directory_path().string();
    const struct {
        std::vector<std::string> Arguments;
        int Status;
        const char* Says;
    } cases[] = {
        {{"run", "--port", "/dev/null", "--device", "300:sensor"}, 2, "1 to 255"},
        {{"run", "--port", "/dev/null", "--device", "5:toaster"}, 2, "sensor"},
        {{"run", "--port", "/dev/null", "--device", "5"}, 2, "ADDRESS:MODEL"},
        {{"run", "--port", "/dev/null", "--device", "5:sensor", "--device", "5:digital"}, 2, "twice"},
        {{"run", "--every", "-1s"}, 2, "-1s"},
        {{"run", "--every", "10ms"}, 2, "100ms"},
        {{"run", "--for", "soon"}, 2, "soon"},
        {{"run", "--port", "/dev/null"}, 2, "--device"},
        {{"read", "--device", "5:sensor", "humidity"}, 2, "humidity"},
        {{"read", "--device", "5:sensor"}, 2, "variable"},
        {{"toast"}, 2, "toast"},
        {{"--no-such-option"}, 2, "--no-such-option"},
        {{"simulate", "--device", "5:digital=256"}, 2, "0 to 255"},
        {{"simulate", "--device", "5:sensor=ramp:1:2"}, 2, "ramp"},
        {{"read", "--port", folder, "--device", "5:sensor", "temperature"}, 1, folder.c_str()},
        {{"read", "--port", "/no/such/port", "--device", "5:sensor", "temperature"}, 1, "/no/such/port"},
        {{"read", "--driver-thread", "--port", folder, "--device", "5:sensor", "serial"}, 1, folder.c_str()},
        {{"run", "--data", "/proc/no", "--for", "1s"}, 1, "/proc/no"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.Arguments));
        const auto result = RunProgram(c.Arguments);
        EXPECT_EQ(result.Status, c.Status);
        EXPECT_EQ(result.Out, "");
        EXPECT_EQ(std::count(result.Err.begin(), result.Err.end(), '\n'), 1) << result.Err;
        EXPECT_NE(result.Err.find(c.Says), std::string::npos) << result.Err;
    }
}

}  // namespace
}  // namespace orvix::tests
