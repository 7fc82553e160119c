#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <list>
#include <map>
#include <regex>
#include <sstream>

#include "station/run/health_book.h"
#include "station/run/station_run.h"
#include "station/sink/lines/lines.h"
#include "station/sink/lines/output_listener.h"
#include "station/sink/recording/recorder.h"
#include "station/source/recorded_source.h"
#include "tests/station/program.h"
#include "tests/station/virtual_source.h"
#include "tests/support/test_folder.h"

namespace orvix::station {
namespace {

using namespace std::chrono_literals;
using tests::VirtualSource;

/// A station with everybody who shows or keeps what happens in it.
class Shown {
public:
    Shown(Source& source, const std::string& file)
        : m_Source(source),
          m_Recorder(file, source.Home(), true, [](const std::string& text) { ADD_FAILURE() << text; }),
          Run(source, "a session") {
        for (Listener* listener : std::initializer_list<Listener*>{&m_TextLines, &m_JsonLines, &m_Health, &m_Recorder})
            Run.Add(*listener);
    }
    void Finish() {
        Text << m_TextLines.Summary() << "\n";
        for (const auto& bus : m_Health.At(m_Source.Home().Now(), 0, Run.Values()).Buses) {
            for (const auto& address : bus.Addresses) {
                Health << bus.Port << " " << address.Address << " " << NameOf(address.Quality);
                const auto& total = address.Total;
                for (const auto count : total.Ends)
                    Health << " " << count;
                Health << " " << total.Retries << " " << total.Doubled << " " << total.Late << " " << total.StrayBytes;
                Health << " " << address.Name << "\n";
            }
        }
        EXPECT_EQ(m_Recorder.Finish(), std::nullopt);
    }

    std::ostringstream Text;
    std::ostringstream Json;
    std::ostringstream Health;

private:
    Source& m_Source;
    std::unique_ptr<Output> m_Plain = MakePlainOutput(Text, Text, {.NamesPorts = true});
    std::unique_ptr<Output> m_Structured = MakeJsonOutput(Json, Json);
    OutputListener m_TextLines{*m_Plain, m_Source.Home(), {}};
    OutputListener m_JsonLines{*m_Structured, m_Source.Home(), {}};
    HealthBook m_Health;
    Recorder m_Recorder;

public:
    StationRun Run;
};

/// Does what the recording says, and nothing else.
struct Operator : RecordedOperator {
    explicit Operator(StationRun& run) : Run(run) {}
    void Use(const BusSetup& setup) override {
        const bool isNew = Buses.count(setup.PortLabel) == 0;
        Buses[setup.PortLabel] = setup;
        isNew ? Run.Start(setup) : Apply();
    }
    void Stop(const std::string& port) override {
        Buses.erase(port);
        Apply();
    }
    void Apply() {
        std::vector<BusSetup> wanted;
        for (const auto& [port, bus] : Buses)
            wanted.push_back(bus);
        Run.Apply(wanted);
    }
    StationRun& Run;
    std::map<std::string, BusSetup> Buses;
};

BusSetup BusWithLimits(const std::string& port, std::int16_t number) {
    BusSetup setup;
    setup.PortLabel = port;
    setup.PortNumber = number;
    setup.Every = 500ms;
    setup.Retries = number - 1;
    setup.Devices = {{5, 106, "Oven", {}}, {6, 106, {}, {}}, {7, 104, "Door", {}}};
    setup.Devices[0].Limits.High = 25.0;
    setup.Devices[0].Limits.Low = 20.5;
    setup.Devices[0].Limits.HoldOff = 2;
    setup.Devices[2].Limits.InputsOn = 1;
    return setup;
}

/// What is shown of one bus, apart from times: a machine that is held up notices what happens later than it did, and of
/// which of two buses something is shown first says nothing.
std::vector<std::string> LinesAbout(const std::string& bus, const std::string& text) {
    static const std::regex times(
        R"(\d\d:\d\d:\d\d(\.\d+)?|\d+ (ms|s|min)\b( \d+ s)?|_ms":\d+|"id":"a sessio-\d+|^\d+ (?=\d)| \d+$)");
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (line.find(bus) != std::string::npos) lines.push_back(std::regex_replace(line, times, "TIME"));
    }
    return lines;
}

void ExpectSame(const std::vector<std::string>& played, const std::vector<std::string>& live) {
    const auto [ours, theirs] = std::mismatch(played.begin(), played.end(), live.begin(), live.end());
    EXPECT_TRUE(ours == played.end() && theirs == live.end())
        << "line " << ours - played.begin() << ", played: " << (ours == played.end() ? "nothing" : *ours)
        << "\nlive: " << (theirs == live.end() ? "nothing" : *theirs);
    EXPECT_GT(live.size(), 0U);
}

struct RoundTrip {
    const char* Name;
    std::vector<const char*> Faults;
    /// What is done while it runs.
    std::function<void(VirtualSource&, Shown&)> During;
    const char* Says;  ///< somewhere in what is shown
};

void PrintTo(const RoundTrip& trip, std::ostream* out) {
    *out << trip.Name;
}

class Replay : public testing::TestWithParam<RoundTrip> {
protected:
    std::string Folder(const char* name) const { return m_Folder.Path + "/" + name; }
    StationResources& Fresh(const char* name) {
        const auto path = Folder(name) + "/";
        m_Stations.push_back(
            std::make_unique<StationResources>(StationFolders{path, path + "config/", path}, tests::kLibrary));
        return *m_Stations.back();
    }
    void Record(const RoundTrip& trip, Shown& shown, VirtualSource& source) {
        shown.Run.Start(BusWithLimits("/dev/one", 1));
        shown.Run.Start(BusWithLimits("/dev/two", 2));
        source.RunFor(20s);
        if (trip.During) trip.During(source, shown);
        source.RunFor(70s);
        shown.Finish();
    }

    const tests::TestFolder m_Folder;
    std::list<std::unique_ptr<StationResources>> m_Stations;
};

TEST_P(Replay, ShowsWhatTheRunHasShown) {
    std::vector<simulator::Fault> faults;
    for (const auto* text : GetParam().Faults)
        faults.push_back(simulator::ParseFault(text));
    VirtualSource source(
        Fresh("live"),
        {simulator::ParseSimulatedDevice("5:sensor=ramp:20:30:20s"), simulator::ParseSimulatedDevice("6:sensor=21"),
         simulator::ParseSimulatedDevice("7:digital=5")},
        faults);
    Shown live(source, Folder("live.rec"));
    Record(GetParam(), live, source);

    platform::RealApartment home;
    RecordedSource recorded(RecordingReader(Folder("live.rec")), tests::kLibrary, home);
    Shown played(recorded, Folder("played.rec"));
    Operator buses(played.Run);
    while (recorded.PlayNext(1h, buses)) {
    }
    played.Finish();

    EXPECT_TRUE(recorded.Over());
    EXPECT_EQ(recorded.ReadFailure(), "");
    EXPECT_NE(live.Text.str().find(GetParam().Says), std::string::npos) << live.Text.str();
    for (const auto* bus : {"/dev/one", "/dev/two"}) {
        ExpectSame(LinesAbout(bus, played.Text.str()), LinesAbout(bus, live.Text.str()));
        ExpectSame(LinesAbout(bus, played.Json.str()), LinesAbout(bus, live.Json.str()));
    }
    EXPECT_EQ(played.Health.str(), live.Health.str());
    const auto first = tests::ContentsOf(Folder("live.rec"));
    const auto second = tests::ContentsOf(Folder("played.rec"));
    for (const auto* bus : {" 1 ", " 2 ", "nimbo1-recording"})
        ExpectSame(LinesAbout(bus, second), LinesAbout(bus, first));
}

const RoundTrip kRoundTrips[] = {
    {"Well", {}, nullptr, "above the limit of 25"},
    {"Silent", {"drop@6:rate=40%", "drop@7"}, nullptr, "No complete reply"},
    {"Late", {"delay@6:by=300ms:rate=30%", "delay:by=20ms:rate=20%"}, nullptr, "after the time-out"},
    {"Damaged", {"corrupt:rate=20%", "cut@5:rate=20%"}, nullptr, "checksum"},
    {"Refused", {"refuse@6:rate=30%", "noise:rate=10%", "duplicate:rate=10%"}, nullptr, "refused"},
    {"PortLost", {"drop@6:rate=20%"}, [](VirtualSource& source, Shown&) { source.Unplug(7s); }, "works again after"},
    {"DevicesChange",
     {"drop@6:rate=20%"},
     [](VirtualSource& source, Shown& shown) {
         auto one = BusWithLimits("/dev/one", 1);
         one.Devices = {{5, 106, "Kiln", {}}, {7, 104, {}, {}}};
         one.Devices[0].Limits.High = 22.0;
         shown.Run.Apply({one, BusWithLimits("/dev/two", 2)});
         source.RunFor(5s);
         one.Devices.push_back({6, 106, "Lab", {}});
         shown.Run.Apply({one, BusWithLimits("/dev/two", 2)});
     },
     "Kiln"},
    {"BusesComeAndGo",
     {"drop@6:rate=20%"},
     [](VirtualSource& source, Shown& shown) {
         shown.Run.Apply({BusWithLimits("/dev/one", 1)});
         source.RunFor(10s);
         auto two = BusWithLimits("/dev/two", 2);
         two.Every = 2s;
         shown.Run.Apply({BusWithLimits("/dev/one", 1), two});
     },
     "Oven"},
};

INSTANTIATE_TEST_SUITE_P(RoundTrip, Replay, testing::ValuesIn(kRoundTrips),
                         [](const auto& trip) { return std::string(trip.param.Name); });

}  // namespace
}  // namespace orvix::station
