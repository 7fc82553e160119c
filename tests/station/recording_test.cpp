#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "simulator/bus_server.h"
#include "station/recording/recorder.h"
#include "station/recording/replay_bus.h"
#include "station/run/station_run.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"
#include "tests/support/test_folder.h"

namespace orvix::station {
namespace {

using namespace std::chrono_literals;
using Kind = LineEvent::Kind;
using tests::Bytes;

RecordingHeader SomeHeader() {
    BusSetup bus;
    bus.PortLabel = "/dev/ttyUSB0";
    bus.Devices = {{5, 106, "Oven \"A\"\n", {}}};
    return {1'766'000'000'000, "0.1.0", {bus, bus}};
}

std::string SomeRecording() {
    const std::string request = Bytes("1D 04 05 00 0B 00 0B 01 03");
    const RecordedEvent events[] = {
        {0, {.Time = 1ms, .What = Kind::Opened}},
        {1, {.Time = 500us, .What = Kind::Failed, .Reason = "port 2: \xFF gone\n\"\\"}},
        {0, {.Time = 2ms, .What = Kind::Discarded, .Bytes = Bytes("00 FF")}},
        {0, {.Time = 2ms, .What = Kind::Sent, .Bytes = request, .Lasted = 9ms}},
        {0, {.Time = 20ms, .What = Kind::Received, .Bytes = Bytes("1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03")}},
        {0, {.Time = 1h, .What = Kind::Closed}},
    };
    auto text = HeaderLine(SomeHeader());
    for (const auto& event : events)
        text += EventLine(event);
    return text;
}

std::string TextOf(const Recording& recording) {
    auto text = HeaderLine(recording.Header);
    for (const auto& event : recording.Events)
        text += EventLine(event);
    return text;
}

TEST(Recording, ReadsWhatWasWrittenAndWhatIsLeftOfIt) {
    const auto whole = SomeRecording();
    const auto header = HeaderLine(SomeHeader()).size();
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const auto left = whole.substr(0, size);
        if (size < header) {
            EXPECT_THROW(ParseRecording(left), RecordingError) << size;
            continue;
        }
        const auto recording = ParseRecording(left);
        EXPECT_EQ(recording.CutOff, left.back() != '\n');
        EXPECT_EQ(TextOf(recording), left.substr(0, left.rfind('\n') + 1));
    }
}

TEST(Recording, AWrongLineIsNamed) {
    const auto header = HeaderLine(SomeHeader());
    const struct {
        std::string Text;
        const char* Says;
    } cases[] = {
        {"", "line 1"},
        {"hello\n", "no recording"},
        {"nimbo1-recording 2 {}\n", "version 2"},
        {"nimbo1-recording 1 {\n", "JSON"},
        {"nimbo1-recording 1 {}\n", "started_unix_ms"},
        {R"(nimbo1-recording 1 {"started_unix_ms":18446744073709551615,"program":"","buses":[]})"
         "\n",
         "started_unix_ms"},
        {R"(nimbo1-recording 1 {"started_unix_ms":0,"program":"","buses":[]})"
         "\n",
         "no bus"},
        {header + "1 1 opened\n-1 1 opened\n", "line 3"},
        {header + "99999999999999999999 1 opened\n", "line 2"},
        {header + "1 0 opened\n", "counted from 1"},
        {header + "1 3 opened\n", "number of a bus"},
        {header + "1 1 exploded\n", "exploded"},
        {header + "1 1 opened 1D\n", "more than"},
        {header + "1 1 sent 1D0 5\n", "pairs"},
        {header + "1 1 sent 1d 5\n", "pairs"},
        {header + "1 1 sent 1D\n", "duration"},
        {header + "1 1 failed gone\n", "JSON"},
        {header + "\n", "line 2"},
        {header + "2 1 opened\n1 1 closed\n", "earlier"},
        {header + std::string(200'000, '1') + "\n", "long"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Text.substr(0, 100));
        try {
            ParseRecording(c.Text);
            ADD_FAILURE() << "accepted";
        } catch (const RecordingError& error) {
            EXPECT_NE(std::string(error.what()).find(c.Says), std::string::npos) << error.what();
        }
    }
}

/// What counts of a reading: whose it is, and its value or why there is none.
using Outcome = std::tuple<std::string, int, ReadingValue, ErrorNumber, std::string>;

Outcome OutcomeOf(const Reading& reading) {
    return {reading.Port, reading.Address, reading.Value, reading.Error.Code, reading.Error.Text};
}

class Outcomes : public Listener {
public:
    void OnReading(const Reading& reading) override { All.push_back(OutcomeOf(reading)); }
    std::vector<Outcome> All;
};

constexpr std::size_t kReadings = 50;

simulator::FaultPlan EveryFault(std::uint64_t seed) {
    std::vector<simulator::Fault> faults;
    for (const auto* text : {"drop:rate=10%", "delay:by=140ms:rate=5%", "delay:by=20ms:rate=10%", "corrupt:rate=10%",
                             "cut:rate=5%", "refuse:rate=10%", "noise:rate=10%", "duplicate:rate=20%"}) {
        faults.push_back(simulator::ParseFault(text));
    }
    return {faults, seed};
}

/// Two buses with everything that can go wrong, until each has given enough readings.
std::vector<Outcome> RecordTo(const std::string& file, const std::string& folder, Station& station) {
    platform::RealApartment home;
    std::vector<std::unique_ptr<simulator::BusServer>> servers;
    std::vector<BusSetup> setups;
    for (int number = 1; number <= 2; ++number) {
        const auto link = folder + "/line" + std::to_string(number);
        simulator::SimulatedBus bus({simulator::ParseSimulatedDevice("7:digital=5"),
                                     simulator::ParseSimulatedDevice("5:sensor=ramp:20:30:60s")},
                                    EveryFault(static_cast<std::uint64_t>(number)));
        servers.push_back(std::make_unique<simulator::BusServer>(
            std::move(bus), 0,
            simulator::Plugging{link, {simulator::ParseFault("unplug:after=500ms:for=200ms:every=1s")}, {}}));
        BusSetup setup;
        setup.PortLabel = setup.PortPath = link;
        setup.PortNumber = static_cast<std::int16_t>(number);
        setup.Devices = {{5, 106, {}, {}}, {7, 104, "Door", {}}};
        setup.Every = 100ms;
        // Far from what a busy machine holds a thread up: an answer at the limit may be in time once and late again.
        setup.TimeoutFactor = 25;
        setup.Retries = number - 1;
        setup.DriverThread = number == 2;
        setups.push_back(setup);
    }
    Outcomes outcomes;
    Recorder recorder(file, setups, home.Now(), [](const std::string& text) { ADD_FAILURE() << text; });
    {
        StationRun run(station, home);
        run.Add(outcomes);
        run.Add(recorder);
        for (const auto& setup : setups)
            run.Start(setup);
        EXPECT_TRUE(home.PumpUntil([&] { return outcomes.All.size() >= kReadings; }, 60s));
    }
    EXPECT_EQ(recorder.Finish(), std::nullopt);
    return outcomes.All;
}

std::vector<Outcome> OfPort(const std::vector<Outcome>& all, const std::string& port) {
    std::vector<Outcome> some;
    std::copy_if(all.begin(), all.end(), std::back_inserter(some),
                 [&](const Outcome& outcome) { return std::get<0>(outcome) == port; });
    return some;
}

TEST(Replay, GivesTheReadingsAndErrorsOfTheRecording) {
    const tests::TestFolder folder;
    const StationFolders folders{folder.Path + "/", folder.Path + "/config/", folder.Path + "/"};
    const auto file = folder.Path + "/recording";
    Station station(folders, NIMBO1_LIBRARY);
    const auto recorded = RecordTo(file, folder.Path, station);
    EXPECT_TRUE(std::any_of(recorded.begin(), recorded.end(), [](const auto& o) { return std::get<3>(o) != 0; }));

    const auto recording = ReadRecording(file);
    const tests::TestFolder otherFolder;
    Station other({otherFolder.Path + "/", otherFolder.Path + "/config/", otherFolder.Path + "/"}, NIMBO1_LIBRARY);
    for (std::size_t index = 0; index < recording.Header.Buses.size(); ++index) {
        std::vector<Outcome> replayed;
        ReplayBus bus(other, recording, index,
                      {[&](const Reading& reading) { replayed.push_back(OutcomeOf(reading)); },
                       [](const std::string&, const Failure&) {}});
        bus.RunUntil(1h);
        EXPECT_TRUE(bus.Over());
        EXPECT_EQ(bus.Line().Unknown(), 0);
        EXPECT_EQ(bus.Line().Skipped(), 0);
        auto expected = OfPort(recorded, recording.Header.Buses[index].PortLabel);
        // The readings of the last exchanges may not have been told any more.
        ASSERT_NEAR(static_cast<double>(replayed.size()), static_cast<double>(expected.size()), 2);
        const auto common = std::min(replayed.size(), expected.size());
        replayed.resize(common);
        expected.resize(common);
        EXPECT_EQ(replayed, expected);
    }
}

TEST(Replay, WhatCannotBePlayedIsSaidInOneLine) {
    const tests::TestFolder folder;
    tests::ExpectOneLine({"replay", folder.Path + "/none"}, 1, "none");
    tests::ExpectOneLine({"replay", NIMBO1_PROGRAM}, 1, "line 1");
    tests::ExpectOneLine({"record"}, 2, "file");
    tests::ExpectOneLine({"record", NIMBO1_PROGRAM, "--port", "/dev/null", "--device", "5:sensor", "--for", "1s"}, 1,
                         "File exists");
    tests::ExpectOneLine({"simulate", "--device", "5:sensor", "--fault", "unplug"}, 2, "--link");
}

}  // namespace
}  // namespace orvix::station
