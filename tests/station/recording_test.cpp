#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <tuple>

#include "simulator/bus_server.h"
#include "station/run/station_run.h"
#include "station/sink/recording/recorder.h"
#include "station/source/replay_bus.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"
#include "tests/support/test_folder.h"

namespace orvix::station {
namespace {

using namespace std::chrono_literals;
using Kind = LineEvent::Kind;
using tests::Bytes;

const RecordingHeader kHeader{1'766'000'000'000, "0.1.0"};

Recording SomeRecording() {
    BusSetup bus;
    bus.PortLabel = "/dev/ttyUSB0";
    bus.Devices = {{5, 106, "Oven \"A\"\n", {}}};
    auto more = bus;
    more.Devices.push_back({7, 104, {}, {}});
    const RecordedBus one{
        {{0ms, bus}, {1min, more}},
        {{.Time = 1ms, .What = Kind::Opened},
         {.Time = 2ms, .What = Kind::Discarded, .Bytes = Bytes("00 FF")},
         {.Time = 2ms, .What = Kind::Sent, .Bytes = Bytes("1D 04 05 00 0B 00 0B 01 03"), .Lasted = 9ms},
         {.Time = 20ms, .What = Kind::Received, .Bytes = Bytes("1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03")},
         {.Time = 1h, .What = Kind::Closed}}};
    const RecordedBus other{{{400us, bus}},
                            {{.Time = 500us, .What = Kind::Failed, .Reason = "port 2: \xFF gone\n\"\\"}}};
    return {kHeader, {one, other}};
}

std::string TextOf(const Recording& recording) {
    auto text = HeaderLine(recording.Header);
    for (std::size_t bus = 0; bus < recording.Buses.size(); ++bus) {
        for (const auto& setup : recording.Buses[bus].Setups)
            text += SetupLine(bus, setup);
        for (const auto& event : recording.Buses[bus].Events)
            text += EventLine(bus, event);
    }
    return text;
}

/// What a bus has told.
struct Told : Listener {
    void OnReading(const Reading& reading) override { Readings.push_back(reading); }
    void OnDeviceGone(const DeviceId& device) override { Gone.push_back(device.Address); }

    std::vector<Reading> Readings;
    std::vector<int> Gone;
};

TEST(Recording, ReadsWhatWasWrittenAndWhatIsLeftOfIt) {
    const auto whole = TextOf(SomeRecording());
    const auto header = HeaderLine(kHeader).size();
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
    const auto header = HeaderLine(kHeader);
    const auto bus = header + SetupLine(0, SomeRecording().Buses[0].Setups[0]);
    const struct {
        std::string Text;
        const char* Says;
    } cases[] = {
        {"", "line 1"},
        {"hello\n", "no recording"},
        {"nimbo1-recording 2 {}\n", "version 2"},
        {"nimbo1-recording 1 {\n", "JSON"},
        {"nimbo1-recording 1 {}\n", "started_unix_ms"},
        {R"(nimbo1-recording 1 {"started_unix_ms":18446744073709551615,"program":""})"
         "\n",
         "started_unix_ms"},
        {bus + "1 1 opened\n-1 1 opened\n", "line 4"},
        {bus + "99999999999999999999 1 opened\n", "line 3"},
        {bus + "1 0 opened\n", "counted from 1"},
        {bus + "1 3 bus {}\n", "number of a bus"},
        {header + "1 1 opened\n", "describes"},
        {header + "1 1 bus {\n", "line 2 of the recording: what stands in it is no JSON"},
        {header + R"(1 1 bus {"port":"a","number":1,"every_ms":1,"retries":0,"timeout_factor_ms":1,"devices":[5]})"
                  "\n",
         "line 2 of the recording: it has no \"address\""},
        {bus + "1 1 exploded\n", "exploded"},
        {bus + "1 1 opened 1D\n", "more than"},
        {bus + "1 1 sent 1D0 5\n", "pairs"},
        {bus + "1 1 sent 1d 5\n", "pairs"},
        {bus + "1 1 sent 1D\n", "duration"},
        {bus + "1 1 failed gone\n", "JSON"},
        {bus + "\n", "line 3"},
        {bus + "2 1 opened\n1 1 closed\n", "earlier"},
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
using Outcome = std::tuple<int, std::string, ReadingValue, ErrorNumber, std::string>;

Outcome OutcomeOf(const Reading& reading) {
    return {reading.Address, reading.Name, reading.Value, reading.Error.Code, reading.Error.Text};
}

/// By bus, in the order in which they were started.
class Outcomes : public Listener {
public:
    void OnSetup(const BusSetup& setup) override {
        if (m_Running.try_emplace(setup.PortLabel, Buses.size()).second) Buses.emplace_back();
    }
    void OnReading(const Reading& reading) override {
        Buses[m_Running.at(reading.Port)].push_back(OutcomeOf(reading));
        ++Count;
    }
    void OnPortGone(const std::string& port) override { m_Running.erase(port); }

    std::vector<std::vector<Outcome>> Buses;
    std::size_t Count = 0;

private:
    std::map<std::string, std::size_t> m_Running;
};

constexpr std::size_t kReadings = 25;

simulator::FaultPlan EveryFault(std::uint64_t seed) {
    std::vector<simulator::Fault> faults;
    for (const auto* text : {"drop:rate=10%", "delay:by=300ms:rate=5%", "delay:by=20ms:rate=10%", "corrupt:rate=10%",
                             "cut:rate=5%", "refuse:rate=10%", "noise:rate=10%", "duplicate:rate=20%"}) {
        faults.push_back(simulator::ParseFault(text));
    }
    return {faults, seed};
}

/// Two buses with everything that can go wrong. When they have given enough readings, one is started anew with another
/// period.
Outcomes RecordTo(const std::string& file, const std::string& folder, Station& station) {
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
        setup.TimeoutFactor = 40;
        setup.Retries = number - 1;
        setup.DriverThread = number == 2;
        setups.push_back(setup);
    }
    Outcomes outcomes;
    Recorder recorder(file, home, [](const std::string& text) { ADD_FAILURE() << text; });
    {
        StationRun run(station, home);
        run.Add(outcomes);
        run.Add(recorder);
        for (const auto& setup : setups)
            run.Start(setup);
        EXPECT_TRUE(home.PumpUntil([&] { return outcomes.Count >= kReadings; }, 60s));
        setups[1].Every = 150ms;
        EXPECT_EQ(run.Apply(setups).size(), 1U);
        EXPECT_TRUE(home.PumpUntil([&] { return outcomes.Count >= 2 * kReadings; }, 60s));
    }
    EXPECT_EQ(recorder.Finish(), std::nullopt);
    return outcomes;
}

TEST(Replay, GivesTheReadingsAndErrorsOfTheRecording) {
    const tests::TestFolder folder;
    const StationFolders folders{folder.Path + "/", folder.Path + "/config/", folder.Path + "/"};
    const auto file = folder.Path + "/recording";
    Station station(folders, tests::kLibrary);
    const auto recorded = RecordTo(file, folder.Path, station);

    const auto recording = ReadRecording(file);
    ASSERT_EQ(recording.Buses.size(), 3U);
    ASSERT_EQ(recorded.Buses.size(), 3U);
    for (std::size_t index = 0; index < recording.Buses.size(); ++index) {
        SCOPED_TRACE(index);
        auto expected = recorded.Buses[index];
        EXPECT_TRUE(std::any_of(expected.begin(), expected.end(), [](const auto& o) { return std::get<3>(o) != 0; }));
        const tests::TestFolder otherFolder;
        Station other({otherFolder.Path + "/", otherFolder.Path + "/config/", otherFolder.Path + "/"}, tests::kLibrary);
        Told told;
        ReplayBus bus(other, recording.Header, recording.Buses[index], told);
        bus.RunUntil(1h);
        EXPECT_TRUE(bus.Over());
        EXPECT_EQ(bus.Line().Unknown(), 0);
        EXPECT_EQ(bus.Line().Skipped(), 0);
        // The readings of the last exchanges may not have been told any more.
        std::vector<Outcome> replayed;
        for (const auto& reading : told.Readings)
            replayed.push_back(OutcomeOf(reading));
        ASSERT_NEAR(static_cast<double>(replayed.size()), static_cast<double>(expected.size()), 2);
        const auto common = std::min(replayed.size(), expected.size());
        replayed.resize(common);
        expected.resize(common);
        EXPECT_EQ(replayed, expected);
    }
}

TEST(Replay, DevicesComeAndGoWhenTheyDid) {
    BusSetup bus;
    bus.Devices = {{5, 106, "Oven", {}}};
    auto later = bus;
    later.Devices = {{6, 106, "Lab", {}}};
    RecordedBus recorded{{{10s, bus}, {12500ms, later}}, {{.Time = 10020ms, .What = Kind::Opened}}};
    const auto exchange = [&](Duration time, const char* request, const char* reply) {
        recorded.Events.push_back({.Time = time, .What = Kind::Sent, .Bytes = Bytes(request), .Lasted = 9ms});
        recorded.Events.push_back({.Time = time + 20ms, .What = Kind::Received, .Bytes = Bytes(reply)});
    };
    for (const auto time : {10040ms, 11040ms, 12040ms})
        exchange(time, "1D 04 05 00 0B 00 0B 01 03", "1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03");
    for (const auto time : {12540ms, 13540ms, 14540ms})
        exchange(time, "1D 04 06 00 0B 00 0B 02 03", "1D 08 06 04 0B 00 83 70 00 00 FC 0E 03");
    recorded.Events.push_back({.Time = 14900ms, .What = Kind::Closed});

    const tests::TestFolder folder;
    Station station({folder.Path + "/", folder.Path + "/config/", folder.Path + "/"}, tests::kLibrary);
    Told told;
    ReplayBus replay(station, kHeader, recorded, told);
    replay.RunUntil(1h);
    const std::tuple oven(5, std::string("Oven"), true);
    const std::tuple lab(6, std::string("Lab"), true);
    std::vector<std::tuple<int, std::string, bool>> readings;
    for (const auto& reading : told.Readings)
        readings.emplace_back(reading.Address, reading.Name, reading.Valid());
    EXPECT_EQ(readings, (std::vector{oven, oven, oven, lab, lab, lab}));
    EXPECT_EQ(told.Gone, std::vector<int>{5});
    EXPECT_EQ(replay.Line().Unknown(), 0);
    EXPECT_EQ(replay.Line().Skipped(), 0);
}

TEST(Replay, WhatCannotBePlayedIsSaidInOneLine) {
    const tests::TestFolder folder;
    tests::ExpectOneLine({"replay", folder.Path + "/none"}, 1, "none");
    tests::ExpectOneLine({"replay", tests::kProgram}, 1, "line 1");
    tests::ExpectOneLine({"record"}, 2, "file");
    tests::ExpectOneLine({"record", tests::kProgram, "--port", "/dev/null", "--device", "5:sensor", "--for", "1s"}, 1,
                         "File exists");
    tests::ExpectOneLine({"simulate", "--device", "5:sensor", "--fault", "unplug"}, 2, "--link");
}

}  // namespace
}  // namespace orvix::station
