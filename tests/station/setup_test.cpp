#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "station/commands/run_setup.h"
#include "station/setup/configuration.h"
#include "station/words/time_span.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

TEST(CalendarSpan, OneGrammarForAll) {
    const struct {
        const char* Text;
        std::optional<milliseconds> Span;
    } cases[] = {
        {"500ms", 500ms},  {"90s", 90s},
        {"15m", 15min},    {"36h", 36h},
        {"30d", 30 * 24h}, {"2w", 14 * 24h},
        {"1y", 365 * 24h}, {"1h30m", 90min},
        {"1.5m", 90s},     {"0s", 0s},
        {"1d12h", 36h},    {"1m500ms", 60s + 500ms},
        {"0.4ms", 0ms},    {"100y", 36500 * 24h},
        {"101y", {}},      {"", {}},
        {"5", {}},         {"s", {}},
        {"1h 30m", {}},    {"30m1h", {}},
        {"1h1h", {}},      {"-1s", {}},
        {"+1s", {}},       {"1e3s", {}},
        {"1.s", {}},       {".5s", {}},
        {"1.5.5s", {}},    {"1S", {}},
        {"1month", {}},    {"inf", {}},
        {"0x1s", {}},      {"99y366d", {}},
        {"1h30", {}},      {"9999999999999999999999y", {}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(station::ParseTimeSpan(c.Text), c.Span) << c.Text;
}

station::StationSetup SetupOfArguments(const std::vector<std::string>& arguments) {
    return SetupOf(std::get<station::RunOptions>(station::ParseCommandLine(arguments)));
}

// Each row of the tables that both may fill: what is said at the command line and what is said in a file is one setup.
TEST(Setup, CommandLineAndFileFillTheSame) {
    const struct {
        std::vector<std::string> Arguments;
        const char* File;
    } cases[] = {
        {{"--every", "1m30s"}, "[[bus]]\nport = \"simulated\"\nevery = \"90s\""},
        {{"--retries", "7"}, "[[bus]]\nport = \"simulated\"\nretries = 7"},
        {{"--timeout-factor", "55"}, "[[bus]]\nport = \"simulated\"\ntimeout_factor = 55"},
        {{"--max-step", "2.5"}, "[[bus]]\nport = \"simulated\"\nmax_step = 2.5"},
        {{"--driver-thread"}, "[[bus]]\nport = \"simulated\"\ndriver_thread = true"},
        {{"--data", "/d"}, "data = \"/d\"\n[[bus]]\nport = \"simulated\""},
        {{"--no-history"}, "[[bus]]\nport = \"simulated\"\n[history]\non = false"},
        {{"--metrics", "[::1]:9400"}, "[[bus]]\nport = \"simulated\"\n[metrics]\nlisten = \"[::1]:9400\""},
        {{"--web", "localhost:8080"}, "[[bus]]\nport = \"simulated\"\n[web]\nlisten = \"127.0.0.1:8080\""},
        {{"--port", "/dev/p", "--device", "5:sensor:Oven"},
         "[[bus]]\nport = \"/dev/p\"\n[[bus.device]]\naddress = 5\nmodel = \"sensor\"\nname = \"Oven\""},
    };
    const auto plain = SetupOfArguments({"run"});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.File);
        const auto said = SetupOfArguments(c.Arguments);
        auto written = station::ParseConfiguration(c.File, "/f");
        written.Buses.at(0).PortLabel = said.Buses.at(0).PortLabel;
        EXPECT_EQ(said, written);
        EXPECT_NE(said, plain);
    }
}

TEST(Setup, DevicesAreOnThePortBeforeThem) {
    const auto buses = SetupOfArguments({"run", "--port", "/a", "--device", "5:sensor", "--port", "/b", "--device",
                                         "5:digital", "--device", "6:sensor", "--retries", "0"})
                           .Buses;
    ASSERT_EQ(buses.size(), 2U);
    EXPECT_THAT(buses[0].Devices, testing::ElementsAre(station::DeviceSetup{5, 106, "", {}}));
    EXPECT_THAT(buses[1].Devices,
                testing::ElementsAre(station::DeviceSetup{5, 104, "", {}}, station::DeviceSetup{6, 106, "", {}}));
    EXPECT_EQ(buses[0].Retries + buses[1].Retries, 0);
    const auto early = SetupOfArguments({"run", "--device", "5:sensor", "--port", "/a"}).Buses;
    EXPECT_EQ(early.at(0).Devices.size(), 1U);
    EXPECT_THROW(SetupOfArguments({"run", "--device", "5:sensor", "--port", "/a", "--port", "/b"}),
                 station::UsageError);
    EXPECT_THROW(SetupOfArguments({"run", "--port", "/a", "--port", "/a"}), station::UsageError);
}

TEST(Setup, OfAnOptionTheErrorNamesIt) {
    const struct {
        std::vector<std::string> Arguments;
        const char* Says;
    } cases[] = {
        {{"run", "--retries", "101"}, "--retries: write a whole number from 0 to 100"},
        {{"run", "--retries", "1x"}, "--retries: write a whole number from 0 to 100"},
        {{"run", "--every", "soon"}, "--every: 'soon' is not a time: write a time such as 500ms, 90s"},
        {{"run", "--every", "99ms"}, "--every: '99ms' is not from 100ms to 576h"},
        {{"run", "--metrics", "x"}, "--metrics: write a numeric address and a port"},
        {{"scan", "--port", "/p", "--from", "0"}, "--from: write a whole number from 1 to 255"},
        {{"export", "--format", "doc", "--out", "x"}, "--format: 'doc' is not one of text, report, device, csv, pdf"},
        {{"history", "--since", "1fortnight"}, "--since '1fortnight' is not a time"},
        {{"history", "--csv", "--json"}, "--csv excludes --json"},
        {{"run", "--plain", "--json"}, "--json excludes --plain"},
        {{"devices", "--data", "/d", "remove", "5", "--port", "/p"}, "write --data after remove"},
        {{"sacn"}, "unknown command sacn; did you mean scan?"},
        {{"helth"}, "unknown command helth; did you mean health?"},
        {{"frobnicate"}, "unknown command frobnicate; nimbo1 --help lists them"},
    };
    for (const auto& c : cases) {
        try {
            station::ParseCommandLine(c.Arguments);
            ADD_FAILURE() << c.Says;
        } catch (const station::UsageError& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(c.Says));
        }
    }
}

}  // namespace
}  // namespace orvix::tests
