#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

#include "devices/protocol/frame.h"
#include "simulator/bus_server.h"
#include "tests/station/faulty_bus.h"
#include "tests/station/json_lines.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

TEST(Devices, WhatAScanFindsIsPolledNamedAndForgotten) {
    const TestFolder folder;
    const auto data = folder.Path + "/data";
    simulator::BusServer bus(simulator::SimulatedBus({simulator::ParseSimulatedDevice("5:sensor=21.5"),
                                                      simulator::ParseSimulatedDevice("7:digital=3")}),
                             0);
    const auto port = bus.Terminal().Path();
    const auto devices = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "devices");
        arguments.insert(arguments.end(), {"--port", port, "--data", data});
        return RunProgram(arguments);
    };

    const auto scanned = RunProgram({"scan", "--port", port, "--from", "4", "--to", "7", "--timeout-factor", "100",
                                     "--json", "--remember", "--data", data});
    ASSERT_EQ(scanned.Status, 0) << scanned.Err;
    const auto found = Objects(scanned.Out);
    ASSERT_EQ(found.size(), 3U) << scanned.Out;
    EXPECT_EQ(found[0]["model"], 106);
    EXPECT_EQ(found[0]["serial"], "NB1-0005");
    EXPECT_EQ(found[0]["value"], 21.5);
    EXPECT_EQ(found[1]["model"], 104);
    EXPECT_EQ(found[1]["value"], 3);
    EXPECT_EQ(found[2]["found"], 2);
    EXPECT_EQ(found[2]["complete"], true);

    EXPECT_EQ(devices({"rename", "5", "Oven"}).Status, 0);
    EXPECT_EQ(devices({"add", "9:sensor:Far"}).Status, 0);
    EXPECT_EQ(devices({"remove", "9"}).Status, 0);
    ExpectOneLine({"devices", "remove", "9", "--port", port, "--data", data}, 1, "no device is known at address 9");
    const auto listed = Objects(devices({"--json"}).Out);
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0]["name"], "Oven");
    EXPECT_EQ(listed[0]["serial"], "NB1-0005");
    EXPECT_EQ(listed[1]["address"], 7);

    Program run({"run", "--port", port, "--data", data, "--every", "100ms", "--json"});
    EXPECT_TRUE(run.AwaitOutput("\"name\":\"Oven\""));
    EXPECT_TRUE(run.AwaitOutput("\"address\":7"));
    run.Signal(SIGINT);
    EXPECT_EQ(run.Finish().Status, 0);
}

// Both answer every request for a serial number or a temperature, one right behind the other.
TEST(Scan, TwoDevicesAtOneAddressAreSuspect) {
    FaultyBus bus([](const std::string& request) {
        const auto code = request.substr(4, 2);
        const auto payload = code == std::string("\x0B\x00", 2) ? Bytes("83 2C 00 00") : "N";
        return BuildFrame(5, code, payload) + BuildFrame(5, code, payload);
    });
    const auto result = RunProgram(
        {"scan", "--port", bus.Terminal.Path(), "--from", "5", "--to", "5", "--timeout-factor", "100", "--json"});
    const auto found = Objects(result.Out);
    ASSERT_EQ(found.size(), 2U) << result.Out << result.Err;
    EXPECT_EQ(found[0]["value"], 21.5);
    EXPECT_EQ(found[0]["suspect"], true);
}

TEST(Config, CheckTellsWhatIsInAFileOrWrongWithIt) {
    const TestFolder folder;
    const auto file = folder.Path + "/n.toml";
    std::ofstream(file) << "[[bus]]\nport = \"simulated\"\n[[bus.device]]\naddress = 5\nmodel = "
                           "\"sensor\"\n[[bus]]\nport = \"simulated\"\n";
    const auto good = RunProgram({"config", "check", file});
    EXPECT_EQ(good.Status, 0);
    EXPECT_EQ(good.Out, file + ": 2 buses, 1 device\n");
    Program run({"run", "--config", std::filesystem::relative(file), "--every", "100ms", "--json"});
    EXPECT_TRUE(run.AwaitOutput("\"port\":\"simulated 2\""));
    run.Signal(SIGHUP);
    EXPECT_TRUE(run.AwaitError("configuration read again: nothing has changed"));
    run.Signal(SIGINT);
    EXPECT_EQ(run.Finish().Status, 0);
    std::ofstream(file) << "[[bus]]\nport = \"simulated\"\nevery = 1\nretry = 1\n";
    const auto bad = RunProgram({"config", "check", file});
    EXPECT_EQ(bad.Status, 1);
    EXPECT_EQ(bad.Err, file + ":3:9: bus[0].every: write a non-empty text in quotes\n" + file +
                           ":4:1: bus[0].retry: there is no such key; did you mean retries?\n");
}

}  // namespace
}  // namespace orvix::tests
