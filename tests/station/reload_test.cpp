#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/real_apartment.h"
#include "station/run/station_run.h"
#include "station/source/live_source.h"
#include "tests/station/faulty_bus.h"
#include "tests/station/program.h"
#include "tests/support/scripted_line.h"
#include "tests/support/test_folder.h"

using namespace std::chrono_literals;

namespace orvix::station {
namespace {

/// A line whose answers are kept back while it is held.
class HeldLine {
public:
    void Hold() { m_IsHeld = true; }
    void Release() { m_IsHeld = false; }
    bool IsAsked() const { return m_IsAsked; }
    int Requests() const { return m_Requests; }
    std::string Path() const { return m_Bus.Terminal.Path(); }

private:
    std::string Answer() {
        ++m_Requests;
        for (m_IsAsked = true; m_IsHeld;)
            std::this_thread::yield();
        m_IsAsked = false;
        return tests::Bytes("1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03");
    }

    std::atomic<bool> m_IsHeld{false};
    std::atomic<bool> m_IsAsked{false};
    std::atomic<int> m_Requests{0};
    tests::FaultyBus m_Bus{[this](const std::string&) { return Answer(); }};
};

struct Heard : Listener {
    void OnSetup(const BusSetup& setup) override {
        Setups.push_back(setup.PortLabel + " of " + std::to_string(setup.Devices.size()));
    }
    void OnReading(const Reading& reading) override {
        EXPECT_TRUE(reading.Valid()) << reading.Error.Text;
        Readings.push_back(reading.Port);
    }
    void OnLine(const LineEvent& event) override {
        if (event.What == LineEvent::Kind::Opened) Ports += "+" + event.Port;
        if (event.What == LineEvent::Kind::Closed) Ports += "-" + event.Port;
    }
    void OnDeviceGone(const DeviceId& device) override {
        Gone.push_back(device.Port + "/" + std::to_string(device.Address));
    }
    void OnPortGone(const std::string& port) override { Gone.push_back(port); }

    std::vector<std::string> Setups;  ///< buses and how many devices they have
    std::vector<std::string> Readings;
    std::string Ports;              ///< that were opened and closed, in order
    std::vector<std::string> Gone;  ///< devices and ports
};

struct ReloadTest : testing::Test {
    ReloadTest() {
        Run.Add(Ear);
        Turns->Rearm(5, true);
    }
    ~ReloadTest() override { Release(); }

    BusSetup BusOn(const std::string& label, const HeldLine& line) const {
        BusSetup setup;
        setup.PortLabel = label;
        setup.PortPath = line.Path();
        setup.PortNumber = static_cast<std::int16_t>(&line - Lines + 1);
        setup.Devices = {{5, 106, {}, {}}};
        setup.Every = 100ms;
        setup.Retries = 0;
        setup.TimeoutFactor = 3000;
        return setup;
    }
    bool Await(const std::function<bool()>& done) { return Home.PumpUntil(done, 30s); }
    /// Both buses are in an exchange that goes on.
    void StartAndHold() {
        for (auto& line : Lines)
            line.Hold();
        Run.Start(BusOn("a", Lines[0]));
        Run.Start(BusOn("b", Lines[1]));
        ASSERT_TRUE(Await([&] { return Lines[0].IsAsked() && Lines[1].IsAsked(); }));
    }
    void Release() {
        for (auto& line : Lines)
            line.Release();
    }
    /// Waits for all buses that were stopped.
    bool AwaitEnds() {
        int free = 0;
        for (const auto& line : Lines)
            Run.WhenFree(line.Path(), [&] { ++free; });
        return Await([&] { return free == 2; });
    }

    const tests::TestFolder Folder;
    HeldLine Lines[2];
    StationResources Shared{{Folder.Path + "/", Folder.Path + "/config/", Folder.Path + "/"}, tests::kLibrary};
    platform::RealApartment Home;
    /// What is waited for may happen on another thread that tells nobody.
    std::unique_ptr<Timer> Turns = Home.CreateTimer([] {});
    Heard Ear;
    LiveSource Live{Shared, Home};
    StationRun Run{Live, "a session"};
};

TEST_F(ReloadTest, BusesThatAreStoppedInTheirExchangesHoldUpNobodyAndAreHeardNoMore) {
    StartAndHold();
    EXPECT_EQ(Run.Apply({}), (std::vector<std::string>{"a: stopped", "b: stopped"}));
    EXPECT_TRUE(Lines[0].IsAsked() && Lines[1].IsAsked()) << "the exchanges go on";
    EXPECT_FALSE(Run.IsAnyRunning());
    EXPECT_TRUE(Run.Moves());
    EXPECT_EQ(Ear.Gone, (std::vector<std::string>{"a/5", "a", "b/5", "b"}));
    Release();
    EXPECT_TRUE(AwaitEnds());
    EXPECT_EQ(Ear.Readings, std::vector<std::string>{}) << "the answers came after the buses had been stopped";
}

TEST_F(ReloadTest, AReadingThatIsOnItsWayWhenItsDeviceIsTakenAwayIsNobodys) {
    StartAndHold();
    Release();
    // The second request comes when the first reading has been told, which nobody has taken yet.
    while (Lines[0].Requests() < 2 || Lines[1].Requests() < 2)
        std::this_thread::yield();
    auto empty = BusOn("a", Lines[0]);
    empty.Devices.clear();
    auto slower = BusOn("b", Lines[1]);
    slower.Every = 150ms;
    EXPECT_EQ(Run.Apply({empty, slower}),
              (std::vector<std::string>{"a: removed device 5", "b: restarts with changed settings"}));
    EXPECT_EQ(Ear.Setups, (std::vector<std::string>{"a of 1", "b of 1", "a of 0"}));
    EXPECT_EQ(Ear.Gone, (std::vector<std::string>{"b/5", "b", "a/5"}));
    bool isDelivered = false;
    Home.Post([&] { isDelivered = true; });
    EXPECT_TRUE(Await([&] { return isDelivered; }));
    EXPECT_EQ(Ear.Readings, std::vector<std::string>{});
    EXPECT_TRUE(Await([&] { return !Ear.Readings.empty(); }));
    EXPECT_EQ(Ear.Readings[0], "b") << "of the bus that was started anew";
}

TEST_F(ReloadTest, ABusWaitsForThePortOfTheOneBeforeIt) {
    StartAndHold();
    auto slower = BusOn("a", Lines[0]);
    slower.Every = 150ms;
    EXPECT_EQ(Run.Apply({slower, BusOn("b", Lines[1])}),
              (std::vector<std::string>{"a: restarts with changed settings"}));
    // The ports are exchanged before the first change is done.
    EXPECT_EQ(Run.Apply({BusOn("a", Lines[1]), BusOn("b", Lines[0])}),
              (std::vector<std::string>{"a: restarts with changed settings", "b: restarts with changed settings"}));
    EXPECT_EQ(Run.SetupOn("a")->PortPath, Lines[1].Path());
    Release();
    EXPECT_TRUE(Await([&] { return Ear.Readings.size() > 5; }));
    std::sort(Ear.Ports.begin(), Ear.Ports.end());
    EXPECT_EQ(Ear.Ports, "++++--aaabbb");
    Ear.Ports.clear();
    EXPECT_TRUE(Run.Apply({BusOn("a", Lines[1])}).size() == 1);
    EXPECT_TRUE(Await([&] { return Ear.Ports == "-b"; }));
}

TEST_F(ReloadTest, OneThatWaitsForItsPortCanBeChangedAndTakenAway) {
    StartAndHold();
    auto slower = BusOn("a", Lines[0]);
    slower.Every = 150ms;
    Run.Apply({slower, BusOn("b", Lines[1])});
    slower.Devices[0].Name = "Oven";
    EXPECT_EQ(Run.Apply({slower}), (std::vector<std::string>{"b: stopped", "a: renamed device 5 to Oven"}));
    EXPECT_EQ(Run.Apply({}), (std::vector<std::string>{"a: stopped"}));
    Release();
    EXPECT_TRUE(AwaitEnds());
    EXPECT_FALSE(Run.IsAnyRunning());
    std::sort(Ear.Ports.begin(), Ear.Ports.end());
    EXPECT_EQ(Ear.Ports, "++--aabb") << "it was never opened anew";
}

TEST_F(ReloadTest, ABusMovesWhileItsExchangeLastsNoLongerThanOneCan) {
    for (const bool ownThread : {false, true}) {
        SCOPED_TRACE(ownThread);
        auto setup = BusOn("a", Lines[0]);
        setup.DriverThread = ownThread;
        BusThread bus(Shared, Home, setup, Ear);
        Lines[0].Hold();
        bus.Post([](Bus& b) { b.Poll(); });
        ASSERT_TRUE(Await([&] { return Lines[0].IsAsked(); }));
        const auto tooLong = setup.LongestExchange() + 1min;
        EXPECT_TRUE(bus.Moves(0s));
        EXPECT_TRUE(bus.Moves(setup.LongestExchange()));
        EXPECT_FALSE(Home.PumpUntil([&] { return bus.Moves(tooLong); }, 100ms));
        Lines[0].Release();
        EXPECT_TRUE(Await([&] { return bus.Moves(tooLong); }));
    }
}

}  // namespace
}  // namespace orvix::station
