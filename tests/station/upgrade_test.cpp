#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "platform/sqlite_connection.h"
#include "simulator/bus_server.h"
#include "tests/station/json_lines.h"
#include "tests/station/program.h"

namespace orvix::tests {
namespace {

using Texts = std::vector<std::string>;

std::string ReplacedIn(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

Texts SplitAt(char separator, const std::string& text) {
    Texts fields;
    std::istringstream in(text);
    for (std::string field; std::getline(in, field, separator);)
        fields.push_back(field);
    return fields;
}

/// What an older program has written, and has told of it (tests/upgrade/make_fixture.sh), in a folder of the test's
/// own.
struct UpgradeTest : testing::Test {
    UpgradeTest() {
        const auto unpack = "tar -xzf '" NIMBO1_OLD_STATION "' -C '" + Folder.Path + "'";
        EXPECT_EQ(std::system(unpack.c_str()), 0);
        for (const char* table : {"series", "events"})
            MovePort(History, table);
        platform::SqliteConnection(History).Execute("UPDATE gaps SET text = replace(text, '" + kOldPort + "', '" +
                                                    Port + "')");
        MovePort(Data + "/Orvix.mdb", "known_devices");
    }
    /// The port of that time is a name of this test's now, so that tests may run beside each other.
    void MovePort(const std::string& file, const std::string& table) const {
        platform::SqliteConnection(file).Execute("UPDATE " + table + " SET port = '" + Port + "' WHERE port = '" +
                                                 kOldPort + "'");
    }
    std::string Told(const std::string& name) const {
        return ReplacedIn(ContentsOf(Folder.Path + "/told/" + name), kOldPort, Port);
    }
    std::string Tells(Texts arguments) const {
        arguments.insert(arguments.end(), {"--data", Data});
        const auto result = RunProgram(arguments);
        EXPECT_EQ(result.Status, 0) << result.Err;
        return result.Out;
    }

    /// Readings and failures, without the names: a device has its latest one now, each reading had that of its time.
    static Texts RowsOf(const std::string& csv, std::map<std::string, std::string>& names) {
        Texts rows;
        for (const auto& line : SplitAt('\n', csv)) {
            auto fields = SplitAt(',', line);
            if (line.find("The station was not running") != std::string::npos) continue;
            if (fields.at(1) != "simulated") names[fields.at(2)] = fields.at(3);
            fields.erase(fields.begin() + 3);
            rows.push_back(testing::PrintToString(fields));
        }
        return rows;
    }
    void ExpectAllReadings() const {
        std::map<std::string, std::string> before;
        std::map<std::string, std::string> now;
        const auto wanted = RowsOf(Told("history.csv"), before);
        EXPECT_GT(wanted.size(), 250U);
        EXPECT_THAT(RowsOf(Tells({"history", "--csv", "--since", kFrom, "--until", kTo}), now),
                    testing::UnorderedElementsAreArray(wanted));
        const std::map<std::string, std::string> latest{{"address", "name"}, {"5", "Stove"},  {"6", "Cold room"},
                                                        {"7", "Door"},       {"8", "Fridge"}, {"12", "Attic"}};
        EXPECT_EQ(now, latest);
    }
    void ExpectAllAlarms() const {
        const auto wanted = Objects(Told("alarms"));
        const auto alarms = Objects(Tells({"alarms", "--json", "--since", kFrom, "--until", kTo}));
        EXPECT_EQ(wanted.size(), 5U);
        ASSERT_EQ(alarms.size(), wanted.size());
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            for (const char* same : {"time", "port", "address", "name", "alarm", "value", "text"})
                EXPECT_EQ(alarms[i][same], wanted[i][same]) << same;
            EXPECT_EQ(alarms[i]["ended"], wanted[i]["until"]);
            EXPECT_EQ(alarms[i].contains("station_stopped"), wanted[i]["state"] == "station stopped");
        }
    }

    const std::string kOldPort = "/tmp/nimbo1-upgrade/bus";
    static constexpr char kFrom[] = "2026-11-23T23:00";
    static constexpr char kTo[] = "2026-11-23T23:10:05";
    const TestFolder Folder;
    const std::string Data = Folder.Path + "/data";
    const std::string History = Data + "/history.db";
    const std::string Port = Folder.Path + "/bus";
};

TEST_F(UpgradeTest, WhatAnOldStationKeptIsReadAsItIs) {
    ExpectAllReadings();
    ExpectAllAlarms();
    EXPECT_EQ(Tells({"devices"}), Told("devices"));
    EXPECT_EQ(platform::SqliteConnection(History).Version(), 1);
}

TEST_F(UpgradeTest, ARunGoesOnWithDevicesAndHistory) {
    simulator::BusServer bus(
        simulator::SimulatedBus(
            {simulator::ParseSimulatedDevice("5:sensor=21.5"), simulator::ParseSimulatedDevice("6:sensor=19"),
             simulator::ParseSimulatedDevice("7:digital=4"), simulator::ParseSimulatedDevice("8:sensor=3")}),
        0);
    std::filesystem::create_symlink(bus.Terminal().Path(), Port);
    const auto file = Folder.Path + "/station.toml";
    const auto contents = ReplacedIn(ContentsOf(file), kOldPort, Port);
    std::ofstream(file) << contents;
    Program run({"run", "--config", file, "--data", Data, "--json"});
    for (const char* name : {"Stove", "Cold room", "Door", "Fridge"})
        EXPECT_TRUE(run.AwaitOutput("\"name\":\"" + std::string(name) + "\""));
    run.Signal(SIGTERM);
    EXPECT_EQ(run.Finish().Status, 0);

    ExpectAllReadings();
    ExpectAllAlarms();
    EXPECT_EQ(Tells({"devices"}), Told("devices"));
    platform::SqliteConnection history(History);
    EXPECT_EQ(history.Version(), 2);
    platform::SqliteStatement devices(history, "SELECT count(*) FROM devices");
    devices.Step();
    EXPECT_EQ(devices.Number(0), 8) << "five of the port and three simulated ones, none of them twice";
}

TEST_F(UpgradeTest, WhatIsSimulatedNextIsShownWithWhatWas) {
    Program run({"run", "--data", Data, "--plain"});
    EXPECT_TRUE(run.AwaitOutput("Digital Module"));
    run.Signal(SIGTERM);
    EXPECT_EQ(run.Finish().Status, 0);
    for (const Texts& which : {Texts{}, Texts{"--port", "simulated"}}) {
        Texts arguments{"history", "--json", "--since", kFrom};
        arguments.insert(arguments.end(), which.begin(), which.end());
        std::map<bool, int> readings;
        for (const auto& row : Objects(Tells(arguments)))
            if (row["port"] == "simulated" && row["value"].is_number()) ++readings[row["time"] > kTo];
        EXPECT_EQ(readings[false], 15);
        EXPECT_GE(readings[true], 3);
    }
}

TEST_F(UpgradeTest, ConfigurationRecordingAndDeviceFileAreTaken) {
    const auto in = [this](const char* file) { return Folder.Path + "/" + file; };
    EXPECT_THAT(RunProgram({"config", "check", in("station.toml")}).Out, testing::HasSubstr("1 bus, 4 devices"));

    const auto listing = Tells({"export", "--from", in("oven.device"), "--format", "text", "--out", "-"});
    // A device from a file was marked once more each time.
    EXPECT_EQ(listing, ReplacedIn(ContentsOf(in("told/oven.txt")), "-2-2", "-2"));

    const auto readingsOf = [](const std::string& lines) {
        Texts readings;
        for (const auto& row : Objects(lines))
            if (row["event"] == "reading")
                readings.push_back(row["address"].dump() + row["name"].dump() + row["value"].dump());
        return readings;
    };
    const auto replayed = RunProgram({"replay", "--fast", "--json", in("problem.rec")});
    EXPECT_EQ(readingsOf(replayed.Out), readingsOf(ContentsOf(in("told/replay"))));
}

}  // namespace
}  // namespace orvix::tests
