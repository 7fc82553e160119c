#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <set>

#include "tests/station/faulty_bus.h"
#include "tests/station/json_lines.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

// 21.5 degrees from the sensor at address 5.
const std::string kGoodReply = Bytes("1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03");

// A live device 5, everything else dead.
std::string AnswerOfOne(const std::string& request) {
    return request[2] == 5 ? kGoodReply : "";
}

// What a line delivers, and what the reader of one temperature gets for it.
TEST(Read, TellsTheValueOrTheRightError) {
    const struct {
        const char* What;
        std::string Answer;
        int Status;
        const char* Code;  ///< empty: a good reading
    } cases[] = {
        {"trailing rubbish", kGoodReply + Bytes("55 AA 1D"), 0, ""},
        {"wrong end byte", Bytes("1D 08 05 04 0B 00 83 2C 00 00 A0 0D 04"), 1, "0x8004158D"},
        {"broken inner checksum", Bytes("1D 08 05 04 0B 00 83 2C 00 00 A1 0D 03"), 1, "0x8004158C"},
        {"a refusal", Bytes("1D 05 05 01 07 00 C9 CF 00 03"), 1, "0x8004158B"},
        {"nothing", "", 1, "0x80041589"},
        {"a part", Bytes("1D 08 05 04 0B 00"), 1, "0x80041589"},
        {"another's answer", Bytes("1D 08 06 04 0B 00 83 2C 00 00 A0 0E 03"), 1, "0x8004158D"},
        {"the request as an echo", Bytes("1D 04 05 00 0B 00 0B 01 03"), 1, "0x8004158D"},
    };
    for (const auto& line : cases) {
        SCOPED_TRACE(line.What);
        FaultyBus bus([&](const std::string&) { return line.Answer; });
        const auto result = RunProgram({"read", "--port", bus.Terminal.Path(), "--device", "5:sensor:Oven", "--retries",
                                        "1", "--timeout-factor", "40", "temperature", "--json"});
        ASSERT_EQ(result.Status, line.Status) << result.Out << result.Err;
        const auto objects = Objects(result.Out);
        ASSERT_EQ(objects.size(), 1U);
        const auto& reading = objects[0];
        EXPECT_EQ(reading["port"], bus.Terminal.Path());
        EXPECT_EQ(reading["address"], 5);
        EXPECT_EQ(reading["name"], "Oven");
        EXPECT_EQ(reading["variable"], "temperature");
        EXPECT_EQ(reading["valid"], line.Status == 0);
        if (line.Status == 0) {
            EXPECT_EQ(reading["value"], 21.5);
            EXPECT_EQ(reading["quality"], "good");
            EXPECT_EQ(reading["age_ms"], 0);
        } else {
            EXPECT_EQ(reading["quality"], "offline");
            EXPECT_TRUE(reading["value"].is_null());
            EXPECT_EQ(reading["error"]["code"], line.Code);
        }
    }
}

TEST(Run, ADeadDeviceFailsUnderItsOwnNameAndAnExchangeIsNoObstacleToTheEnd) {
    FaultyBus bus(AnswerOfOne);
    Program program({"run", "--driver-thread", "--port", bus.Terminal.Path(), "--device", "5:sensor:Oven", "--device",
                     "9:sensor:Dead", "--every", "200ms", "--retries", "0", "--timeout-factor", "50", "--json"});
    for (int round = 0; round < 2; ++round)
        ASSERT_TRUE(program.AwaitOutput("\"valid\":false"));
    // The dead device's turn comes right after the other's.
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    program.Signal(SIGINT);
    const auto result = program.Finish();
    EXPECT_EQ(result.Status, 0) << result.Err;
    int troubles = 0;
    for (const auto& object : Objects(result.Out)) {
        EXPECT_EQ(object["name"], object["address"] == 9 ? "Dead" : "Oven");
        if (object["event"] == "trouble") {
            ++troubles;
            EXPECT_EQ(object["address"], 9);
        } else {
            EXPECT_EQ(object["valid"], object["address"] == 5) << object;
        }
    }
    EXPECT_EQ(troubles, 1);
    EXPECT_NE(result.Err.find("not well at the end: " + bus.Terminal.Path() + ", 9 Dead ("), std::string::npos)
        << result.Err;
}

TEST(Run, ADeviceThatAnswersAfterTheTimeOutIsSaidToBeLate) {
    FaultyBus bus([](const std::string&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(150));
        return kGoodReply;
    });
    Program program({"run", "--port", bus.Terminal.Path(), "--device", "5:sensor", "--every", "300ms", "--retries", "0",
                     "--timeout-factor", "20", "--json"});
    EXPECT_TRUE(program.AwaitOutput("The device answers after the time-out."));
    program.Signal(SIGINT);
    program.Finish();
}

TEST(Read, AcceptsEveryVariableAndAnswersWithTheSystemsOwnError) {
    FaultyBus bus([](const std::string&) { return Bytes("1D 06 05 02 00 07 41 FE BA 03 03"); });
    const struct {
        const char* Variable;
        int Status;
        const char* Out;
        const char* Err;
    } cases[] = {
        {"serial", 0, "41fe\n", ""},
        {"status", 1, "", "Invalid device model. What helps: read another variable"},
        {"log", 1, "", "Invalid device model"},
        {"alarm", 1, "", "undefined VarID"},
    };
    for (const auto& c : cases) {
        const auto result = RunProgram(
            {"read", "--port", bus.Terminal.Path(), "--device", "5:sensor", "--timeout-factor", "40", c.Variable});
        EXPECT_EQ(result.Status, c.Status) << c.Variable;
        EXPECT_EQ(result.Out, c.Out) << c.Variable;
        EXPECT_NE(result.Err.find(c.Err), std::string::npos) << result.Err;
    }
}

TEST(Read, TakesSeveralDevicesAndTellsWhichIsWhich) {
    const auto all = RunProgram({"read", "--device", "7:digital", "--device", "5:sensor", "serial"});
    EXPECT_EQ(all.Status, 0) << all.Err;
    EXPECT_EQ(all.Out, "5\tNB1-0005\n7\tNB1-0007\n");
    const auto some =
        RunProgram({"read", "--retries", "0", "--device", "9:sensor", "--device", "5:sensor", "temperature"});
    EXPECT_EQ(some.Status, 1);
    EXPECT_EQ(some.Out, "5\t21.5\n");
    EXPECT_NE(some.Err.find("device 9: No complete reply"), std::string::npos) << some.Err;
}

TEST(Run, ReadsOnAfterTheLineHasVanishedAndComeBack) {
    const TestFolder folder;
    const auto link = folder.Path + "/line";
    auto bus = std::make_unique<FaultyBus>(AnswerOfOne);
    bus->Terminal.Link(link);
    Program program({"run", "--port", link, "--device", "5:sensor", "--every", "200ms", "--json"});
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    bus.reset();
    ASSERT_TRUE(program.AwaitOutput("\"valid\":false"));
    bus = std::make_unique<FaultyBus>(AnswerOfOne);
    bus->Terminal.Link(link);
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
    ExpectOneLine({"trace"}, 1, "nimbo1: a trace viewer is running already\n");

    const auto data = runtime.Path + "/data";
    EXPECT_EQ(RunProgram({"read", "--trace", "--data", data, "--device", "5:sensor", "temperature"}).Status, 0);
    EXPECT_EQ(RunProgram({"run", "--trace", "--data", runtime.Path + "/other", "--for", "1s"}).Status, 0);
    for (int station = 0; station < 2; ++station)
        ASSERT_TRUE(viewer.AwaitOutput("cOrvixDriverNB1.Connect Port "));
    viewer.Signal(SIGINT);
    const auto result = viewer.Finish();
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(result.Status, 0);

    std::set<int> threads;
    for (const auto& line : Objects(result.Out)) {
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
        {{"run", "--port", "/dev/null", "--device", "5"}, 2, "ADDRESS:MODEL"},
        {{"run", "--port", "/dev/null", "--device", "5:sensor", "--device", "5:digital"}, 2, "twice"},
        {{"run", "--every", "-1s"}, 2, "-1s"},
        {{"run", "--every", "10ms"}, 2, "100ms"},
        {{"run", "--port", "/dev/null"}, 1, "/dev/null"},
        {{"run", "--port", "/no/such/port"}, 1, "/no/such/port"},
        {{"scan"}, 2, "--port"},
        {{"scan", "--port", "/no/such/port"}, 1, "/no/such/port"},
        {{"scan", "--port", "/dev/null", "--from", "9", "--to", "8"}, 2, "--from 9"},
        {{"devices", "add", "5:sensor"}, 2, "--port"},
        {{"devices", "rename", "5", "", "--port", "/dev/null"}, 2, "name"},
        {{"config"}, 2, "subcommand"},
        {{"run", "--config", "/no/such/file"}, 1, "/no/such/file"},
        {{"run", "--metrics", "localhost"}, 2, "127.0.0.1:9400"},
        {{"read", "--device", "5:sensor", "humidity"}, 2, "humidity"},
        {{"read", "--device", "5:sensor"}, 2, "variable"},
        {{"read", "--device", "5:sensor", "--device", "7:digital", "temperature"},
         2,
         "Module, which has no temperature"},
        {{"read", "--device", "5:sensor", "inputs"}, 2, "device 5 is a Nimbo1 Temperature Sensor, which has no inputs"},
        {{"toast"}, 2, "toast"},
        {{"--no-such-option"}, 2, "--no-such-option"},
        {{"simulate", "--device", "5:digital=256"}, 2, "0 to 255"},
        {{"read", "--port", folder, "--device", "5:sensor", "temperature"}, 1, folder.c_str()},
        {{"read", "--port", "/no/such/port", "--device", "5:sensor", "temperature"}, 1, "/no/such/port"},
        {{"run", "--data", "/proc/no", "--for", "1s"}, 1, "/proc/no"},
        {{"read", "--port", "", "--device", "5:sensor", "temperature"}, 2, "--port"},
        {{"export", "--device", "5:sensor", "--format", "text", "--out", ""}, 2, "--out"},
        {{"simulate", "--device", "5:sensor", "--device", "5:digital"}, 2, "twice"},
    };
    for (const auto& c : cases)
        ExpectOneLine(c.Arguments, c.Status, c.Says);
}

}  // namespace
}  // namespace orvix::tests
