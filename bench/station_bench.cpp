#include <memory>
#include <stdexcept>
#include <thread>

#include "bench/benches.h"
#include "bench/clocks.h"
#include "bench/comparison.h"
#include "bench/memory.h"
#include "bench/program.h"
#include "bench/test_station.h"
#include "platform/real_apartment.h"
#include "platform/serial_line.h"
#include "simulator/bus_server.h"
#include "station/line/line_tap.h"

namespace orvix::bench {
namespace {

using simulator::BusServer;
using station::Bus;
using station::BusSetup;

simulator::SimulatedBus Sensors(int count) {
    std::vector<simulator::SimulatedDevice> devices;
    for (int address = 1; address <= count; ++address)
        devices.push_back({address, 106, {21.5, 21.5, {}}});
    return simulator::SimulatedBus(devices);
}

BusSetup SetupOf(BusServer& line, int sensors) {
    BusSetup setup;
    setup.PortLabel = setup.PortPath = line.Terminal().Path();
    for (int address = 1; address <= sensors; ++address)
        setup.Devices.push_back({address, 106, {}, {}});
    return setup;
}

/// Times rounds, from the first task submitted to the last one completed, in milliseconds.
class RoundClock : public station::Listener {
public:
    explicit RoundClock(int tasks) : m_Tasks(tasks) {}

    void OnReading(const station::Reading& reading) override { Failed += reading.Valid() ? 0 : 1; }
    void OnMessage(const std::string& /*port*/, const std::string& text) override {
        if (text.ends_with(" 20 %") && m_Start == 0) m_Start = WallTime();
        if (!text.ends_with(" 100 %") || ++m_Completed < m_Tasks) return;
        Measured.push_back((WallTime() - m_Start) / 1e6);
        m_Completed = 0;
        m_Start = 0;
    }

    std::vector<double> Measured;
    int Failed = 0;

private:
    const int m_Tasks;
    double m_Start = 0;
    int m_Completed = 0;
};

/// Rounds of a bus of eight sensors at 9600 baud, from the first task sent to the last one completed, in milliseconds.
std::vector<double> PollRounds(TestStation& station, int rounds) {
    constexpr int kSensors = 8;
    BusServer line(Sensors(kSensors), 9600);
    const auto setup = SetupOf(line, kSensors);
    platform::RealApartment apartment;
    platform::SerialLine serialLine({{setup.PortNumber, setup.PortPath}});
    station::LineTap tap(serialLine, apartment, setup.PortLabel, [](const station::LineEvent&) {});
    station::BusServices services(station.Shared().ServicesFor(setup), apartment, tap);
    RoundClock clock(kSensors);
    Bus bus(station.Shared().Library, services, setup, clock);
    bus.Poll();
    const auto enough = [&] { return static_cast<int>(clock.Measured.size()) >= rounds; };
    services.Apartment().PumpUntil(enough, std::chrono::seconds(5 + rounds));
    bool closed = false;
    bus.Close([&] { closed = true; });
    services.Apartment().PumpUntil([&] { return closed; }, std::chrono::seconds(10));
    if (!enough() || clock.Failed > 0) throw std::runtime_error("poll round: readings are missing");
    return clock.Measured;
}

/// What a round takes when nothing but the line and the connection loop take any time, in milliseconds: each device's
/// request and reply, and a tick from each completed task to the next one sent.
double PrescribedRound() {
    constexpr double kByte = 10.0 / 9600 * 1000;
    constexpr double kExchange = (9 + 13) * kByte;
    constexpr double kTick = 10;
    return 8 * kExchange + 7 * kTick;
}

void AddPollRound(TestStation& station) {
    constexpr int kRounds = 15;
    AddComparison("poll round of 8 : wire and ticks", {{"9600 baud", "ms", AtMost(1.05)}}, kRounds,
                  [measured = std::make_shared<std::vector<double>>(), &station](int number) {
                      if (measured->empty()) *measured = PollRounds(station, kRounds);
                      return std::vector<Pair>{{measured->at(static_cast<std::size_t>(number)), PrescribedRound()}};
                  });
}

void AddProgram(const std::string& subject, const std::string& every) {
    AddComparison(subject, {{"processor time", "ms/s"}, {"wake-ups", "1/s"}}, 5, [every](int) {
        BusServer line(Sensors(3), 0);
        Program program(line.Terminal().Path(), every);
        program.FirstReading();
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        const Usage before = program.Used();
        const double start = WallTime();
        std::this_thread::sleep_for(std::chrono::seconds(3));
        const double seconds = (WallTime() - start) / 1e9;
        const Usage after = program.Used();
        return std::vector<Pair>{{(after.ProcessorMs - before.ProcessorMs) / seconds},
                                 {(after.WakeUps - before.WakeUps) / seconds}};
    });
}

void AddStart() {
    AddComparison("nimbo1 from start to first reading", {{"new folder", "ms"}}, 15, [](int) {
        BusServer line(Sensors(3), 0);
        Program program(line.Terminal().Path(), "1s");
        return std::vector<Pair>{{program.FirstReading()}};
    });
}

struct GoodReadings : station::Listener {
    void OnReading(const station::Reading& reading) override { Count += reading.Valid() ? 1 : 0; }
    int Count = 0;
};

/// Megabytes that so many buses of three sensors take while they poll, each on a thread of its own. Their lines are
/// simulated in this process, the station is in a child.
double MemoryOfBuses(int count) {
    std::vector<std::unique_ptr<BusServer>> lines;
    for (int i = 0; i < count; ++i)
        lines.push_back(std::make_unique<BusServer>(Sensors(3), 0));
    return PeakMemory([&] {
        TestStation station;
        platform::RealApartment apartment;
        GoodReadings heard;
        std::vector<std::unique_ptr<station::BusThread>> buses;
        for (const auto& line : lines) {
            auto setup = SetupOf(*line, 3);
            setup.PortNumber = static_cast<std::int16_t>(buses.size() + 1);
            buses.push_back(std::make_unique<station::BusThread>(station.Shared(), apartment, setup, heard));
            buses.back()->Post([](Bus& bus) { bus.Poll(); });
        }
        const auto enough = [&] { return heard.Count >= 2 * 3 * count; };
        if (!apartment.PumpUntil(enough, std::chrono::seconds(30))) throw std::runtime_error("buses without readings");
    });
}

}  // namespace

void AddStationComparisons(TestStation& station) {
    AddPollRound(station);
    AddStart();
    AddProgram("nimbo1 idle", "1h");
    AddProgram("nimbo1 polling 3 devices a second", "1s");
    for (const int count : {1, 16, 64}) {
        AddComparison("memory of a station with buses: " + std::to_string(count), {{"peak", "MB"}}, 3,
                      [count](int) { return std::vector<Pair>{{MemoryOfBuses(count)}}; });
    }
}

}  // namespace orvix::bench
