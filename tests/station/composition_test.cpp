#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"
#include "platform/file_descriptor.h"
#include "simulator/bus_server.h"
#include "station/door/health_text.h"
#include "station/door/metric_families.h"
#include "station/http/http_client.h"
#include "tests/station/faulty_bus.h"
#include "tests/station/json_lines.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"

using namespace std::chrono_literals;

namespace orvix::tests {
namespace {

TEST(Run, SendsARequestAgainAsOftenAsItIsTold) {
    std::atomic<int> requests{0};
    FaultyBus bus([&](const std::string&) {
        ++requests;
        return std::string();
    });
    Program program({"run", "--port", bus.Terminal.Path(), "--device", "5:sensor", "--every", "1h", "--retries", "2",
                     "--timeout-factor", "10", "--json"});
    ASSERT_TRUE(program.AwaitOutput("\"valid\":false"));
    EXPECT_EQ(requests, 3);
    program.Signal(SIGINT);
    program.Finish();
}

TEST(Run, ReadsAgainAtOnceWhatJumps) {
    int measurements = 0;
    FaultyBus bus([&](const std::string& request) {
        const auto code = request.substr(4, 2);
        if (code != std::string("\x0B\x00", 2)) return BuildFrame(5, code, "N1");
        return BuildFrame(5, code, RealToBytes(++measurements == 2 ? 70.0F : 21.5F));
    });
    Program program({"run", "--port", bus.Terminal.Path(), "--device", "5:sensor", "--every", "1s", "--timeout-factor",
                     "100", "--max-step", "5", "--json"});
    ASSERT_TRUE(program.AwaitOutput("\"value\":70.0"));
    ASSERT_TRUE(program.AwaitOutput("\"quality\":\"good\""));
    program.Signal(SIGINT);
    const auto result = program.Finish();
    const auto readings = Objects(result.Out);
    ASSERT_GE(readings.size(), 3U) << result.Out;
    EXPECT_EQ(readings[1]["quality"], "doubtful");
    EXPECT_EQ(readings[1]["doubt"], "a jump that was not confirmed");
    EXPECT_EQ(readings[1]["last_good"]["value"], 21.5);
    EXPECT_EQ(readings[2]["quality"], "good");
    EXPECT_EQ(readings[2]["value"], 21.5);
}

TEST(Run, ReadsOnBehindAnEchoAndReplaysIt) {
    FaultyBus bus([](const std::string& request) { return request + Bytes("1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03"); });
    const TestFolder folder;
    const auto file = folder.Path + "/echo.rec";
    Program program({"run", "--port", bus.Terminal.Path(), "--device", "5:sensor", "--every", "200ms",
                     "--timeout-factor", "30", "--json", "--record", file});
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    program.Signal(SIGINT);
    EXPECT_EQ(program.Finish().Status, 0);
    EXPECT_NE(ContentsOf(file).find(" echoed 1D0405000B000B0103"), std::string::npos) << ContentsOf(file);
    const auto played = RunProgram({"replay", file, "--fast", "--json"});
    EXPECT_NE(played.Out.find("\"value\":21.5"), std::string::npos) << played.Out;
}

TEST(Run, GoesOnInACompleteNewRecordingWhenTheFileWasMovedAway) {
    const TestFolder folder;
    const auto file = folder.Path + "/line.rec";
    const auto moved = folder.Path + "/line.rec.1";
    Program program({"run", "--record", file, "--every", "100ms", "--json"});
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    std::filesystem::rename(file, moved);
    program.Signal(SIGUSR1);
    const auto hasBegun = [&] { return std::filesystem::exists(file) && !ContentsOf(file).empty(); };
    while (!hasBegun())
        ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    // The path names the file that is written: this one goes on.
    program.Signal(SIGUSR1);
    for (int i = 0; i < 6; ++i)
        ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    program.Signal(SIGINT);
    EXPECT_EQ(program.Finish().Status, 0);
    for (const auto& recording : {moved, file}) {
        const auto played = RunProgram({"replay", recording, "--fast", "--json"});
        EXPECT_EQ(played.Status, 0) << played.Err;
        EXPECT_NE(played.Out.find("\"valid\":true"), std::string::npos) << recording;
    }
}

TEST(Run, BeginsANewTraceWhenTheFileWasMovedAway) {
    const TestFolder folder;
    Program program({"run", "--trace", "--data", folder.Path, "--every", "100ms", "--json", "--for", "2m"});
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    const auto file = std::filesystem::directory_iterator(folder.Path + "/Log")->path();
    std::filesystem::rename(file, folder.Path + "/moved");
    program.Signal(SIGUSR1);
    while (!std::filesystem::exists(file))
        ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    program.Signal(SIGINT);
    program.Finish();
    EXPECT_NE(ContentsOf(file).find("Polling Var"), std::string::npos) << ContentsOf(file);
}

TEST(Run, WhatAScanHasFoundIsKnownWhenItIsCutShort) {
    const TestFolder folder;
    simulator::BusServer bus(simulator::SimulatedBus({simulator::ParseSimulatedDevice("2:sensor")}), 0);
    const auto port = bus.Terminal().Path();
    Program program({"run", "--port", port, "--data", folder.Path, "--timeout-factor", "40", "--json"});
    ASSERT_TRUE(program.AwaitError(": found 2"));
    program.Signal(SIGINT);
    ASSERT_TRUE(program.AwaitError("the scan was cut short; the devices it found are known from now on (1)"));
    program.Finish();
    const auto known = RunProgram({"devices", "--port", port, "--data", folder.Path, "--json"});
    EXPECT_NE(known.Out.find("\"address\":2"), std::string::npos) << known.Out << known.Err;
}

TEST(Run, AReloadDuringAScanFollowsIt) {
    const TestFolder folder;
    const auto file = folder.Path + "/n.toml";
    auto bus = std::make_unique<FaultyBus>([](const std::string&) { return std::string(); });
    std::ofstream(file) << "[[bus]]\nport = \"" << bus->Terminal.Path() << "\"\n";
    Program program({"run", "--config", file, "--json", "--for", "2m"});
    ASSERT_TRUE(program.AwaitError("looking for some"));
    std::ofstream(file) << "[[bus]]\nport = \"simulated\"\nname = \"other\"\n";
    program.Signal(SIGHUP);
    ASSERT_TRUE(program.AwaitError("the configuration is read again when the scan has ended"));
    bus.reset();
    EXPECT_TRUE(program.AwaitError("other: started"));
    EXPECT_TRUE(program.AwaitOutput("\"port\":\"other\""));
    program.Signal(SIGINT);
    EXPECT_EQ(program.Finish().Status, 0);
}

std::string MetricsAt(int port) {
    return station::AskHttp({.Host = "127.0.0.1:" + std::to_string(port), .Path = "/metrics"}).Body;
}

TEST(Run, GoesOnWhileNothingCanBeWrittenIntoTheHistoryAndTellsThatOnce) {
    const TestFolder folder;
    const auto history = folder.Path + "/history-simulated.db";
    ASSERT_EQ(::mkfifo(history.c_str(), 0600), 0);
    const auto port = FreePort();
    Program program(
        {"run", "--data", folder.Path, "--every", "100ms", "--json", "--metrics", "127.0.0.1:" + std::to_string(port)});
    ASSERT_TRUE(program.AwaitError("the history cannot be written"));
    ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    const auto ill = RunProgram({"health", "--data", folder.Path});
    EXPECT_NE(ill.Out.find("history: nothing could be written for"), std::string::npos) << ill.Out;
    const std::string works = "\nnimbo1_history_standstill_seconds 0\n";
    EXPECT_EQ(MetricsAt(port).find(works), std::string::npos);

    std::filesystem::remove(history);
    ASSERT_TRUE(program.AwaitError("history: written again; 0 readings lost"));
    const auto well = RunProgram({"health", "--data", folder.Path});
    EXPECT_EQ(well.Out.find("history"), std::string::npos) << well.Out;
    EXPECT_NE(MetricsAt(port).find(works), std::string::npos);
    program.Signal(SIGINT);
    const auto result = program.Finish();
    EXPECT_EQ(result.Status, 0);
    const auto told = result.Err.find("the history cannot be written");
    EXPECT_EQ(result.Err.find("the history cannot be written", told + 1), std::string::npos) << result.Err;
}

TEST(Run, AReloadRunsTheNewAlarmProgramFromItsFirstAlarmOn) {
    const TestFolder folder;
    const auto file = folder.Path + "/n.toml";
    const auto told = folder.Path + "/told";
    const auto configure = [&](const std::string& limit, const std::string& program) {
        std::ofstream(file)
            << "[[bus]]\nport = \"simulated\"\nevery = \"100ms\"\n[[bus.device]]\naddress = 5\nmodel = \"sensor\"\n"
            << limit << "\n[alarms]\non_alarm = [\"sh\", \"-c\", \"echo " << program
            << " $NIMBO1_EVENT $NIMBO1_ALARM >>" << told << "\"]\n";
    };
    configure("high = 20", "first");
    Program program({"run", "--config", file, "--json", "--for", "2m"});
    ASSERT_TRUE(program.AwaitOutput("\"alarm\":\"high\""));
    configure("low = 30\n[[bus.device]]\naddress = 9\nmodel = \"digital\"", "second");
    program.Signal(SIGHUP);
    ASSERT_TRUE(program.AwaitError("simulated: added device 9, changed the limits of device 5"));
    ASSERT_TRUE(program.AwaitError("changed the alarm command"));
    EXPECT_TRUE(program.AwaitOutput("\"variable\":\"inputs\",\"value\":0,")) << "the simulated bus has it too";
    const std::string expected = "first start high\nsecond start low\nsecond end high\n";
    while (ContentsOf(told).size() < expected.size())
        ASSERT_TRUE(program.AwaitOutput("\"valid\":true"));
    program.Signal(SIGINT);
    program.Finish();
    EXPECT_EQ(ContentsOf(told), expected);
}

station::StationHealth HealthOfOneDevice() {
    station::AddressHealth address;
    address.Address = 5;
    address.Name = "Oven";
    for (auto* tally : {&address.Recent, &address.Total}) {
        for (int i = 0; i < 90; ++i)
            tally->RoundTrips.Add(16ms);
        for (int i = 0; i < 9; ++i)
            tally->RoundTrips.Add(128ms);
        tally->RoundTrips.Add(1024ms);
        tally->Ends = {2, 4, 8, 16, 32, 64, 128, 256, 512};
        tally->Retries = 3;
        tally->Doubled = 5;
        tally->Late = 7;
        tally->StrayBytes = 11;
        tally->Readings = 500;
        tally->GoodReadings = 1;
        tally->DoubtfulReadings = 2;
    }
    address.Identifier = "n5";
    address.LastGood = 13s;
    address.Value = 21.5;
    address.Quality = station::Quality::Stale;
    station::BusHealth bus;
    bus.Port = "line";
    station::AddressHealth module;
    module.Address = 7;
    module.Value = 5;
    module.Quality = station::Quality::Good;
    station::AddressHealth gone = module;
    gone.Address = 8;
    gone.Quality = station::Quality::Offline;
    bus.Addresses = {address, module, gone};
    bus.PortFailures = 17;
    bus.Idle.Total.StrayBytes = 23;
    station::StationHealth health;
    health.Buses = {bus};
    health.HistoryStill = 19s;
    return health;
}

TEST(Health, EachColumnShowsWhatItsTitleSays) {
    const auto text = station::PlainHealth(HealthOfOneDevice());
    EXPECT_NE(text.find("history: nothing could be written for 19 s"), std::string::npos) << text;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("Oven") == std::string::npos) continue;
        std::istringstream words(line);
        const std::vector<std::string> row{std::istream_iterator<std::string>(words), {}};
        ASSERT_GE(row.size(), 12U) << line;
        // addr, name, id, quality, good %, doubtful, p50, p95, max, time-outs, bad, checksum, refused, retries
        EXPECT_EQ(row, (std::vector<std::string>{"5", "Oven", "n5", "stale", "0.2", "2", "16", "128", "1024", "268",
                                                 "144", "32", "64", "3", "13", "s", "ago", "0.00/-"}))
            << line;
        return;
    }
    FAIL() << text;
}

TEST(Health, EachMetricCountsWhatItsNameSays) {
    station::MqttState mqtt;
    mqtt.Connection.Since = 1;
    mqtt.Carriage = station::MqttCarriageState{{{"u", 30, 60}, {"v", 1, 2}}, 0, 37, 41};
    std::map<std::string, double> values;
    for (const auto& family : station::MetricFamilies(HealthOfOneDevice(), mqtt)) {
        for (const auto& metric : family.metric) {
            std::string name = family.name;
            for (const auto& label : metric.label) {
                if (label.name != "port" && label.name != "name" && label.name != "id" && label.value != "5")
                    name += " " + label.value;
            }
            values[name] = std::max(metric.counter.value, metric.gauge.value);
        }
    }
    const std::pair<const char*, double> expected[] = {{"nimbo1_port_up", 1},
                                                       {"nimbo1_port_failures_total", 17},
                                                       {"nimbo1_retries_total", 3},
                                                       {"nimbo1_doubled_answers_total", 5},
                                                       {"nimbo1_late_answers_total", 7},
                                                       {"nimbo1_stray_bytes_total", 11},
                                                       {"nimbo1_doubtful_readings_total", 2},
                                                       {"nimbo1_idle_stray_bytes_total", 23},
                                                       {"nimbo1_last_good_age_seconds", 13},
                                                       {"nimbo1_history_standstill_seconds", 19},
                                                       {"nimbo1_mqtt_connected", 1},
                                                       {"nimbo1_mqtt_history_backlog_rows", 31},
                                                       {"nimbo1_mqtt_history_rows_total", 37},
                                                       {"nimbo1_mqtt_history_skipped_rows_total", 41},
                                                       {"nimbo1_temperature_celsius", 21.5},
                                                       {"nimbo1_input 7 0", 1},
                                                       {"nimbo1_input 7 1", 0},
                                                       {"nimbo1_input 7 2", 1},
                                                       {"nimbo1_quality good", 0},
                                                       {"nimbo1_quality stale", 1},
                                                       {"nimbo1_quality offline", 0},
                                                       {"nimbo1_quality 8 offline", 1},
                                                       {"nimbo1_exchanges_total good", 2},
                                                       {"nimbo1_exchanges_total silent", 4},
                                                       {"nimbo1_exchanges_total cut_off", 8},
                                                       {"nimbo1_exchanges_total bad_frame", 16},
                                                       {"nimbo1_exchanges_total checksum", 32},
                                                       {"nimbo1_exchanges_total refused", 64},
                                                       {"nimbo1_exchanges_total foreign", 128},
                                                       {"nimbo1_exchanges_total late", 256},
                                                       {"nimbo1_exchanges_total line_lost", 512}};
    EXPECT_FALSE(values.contains("nimbo1_input 8 0")) << "nobody knows";
    for (const auto& [name, value] : expected) {
        ASSERT_TRUE(values.contains(name)) << name;
        EXPECT_EQ(values[name], value) << name;
    }
}

}  // namespace
}  // namespace orvix::tests
