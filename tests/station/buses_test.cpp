#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "simulator/bus_server.h"
#include "station/source/bus_thread.h"
#include "tests/station/program.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

// Each bus lives on a thread of its own, every second driver on another; what they share is the process. The device 9
// is dead, so the end comes during an exchange.
/// Counts the good readings of each port: those of device 5, whose value is ten times the port's name.
struct Heard : station::Listener {
    void OnReading(const station::Reading& reading) override {
        const auto* degrees = std::get_if<double>(&reading.Value);
        EXPECT_EQ(degrees != nullptr, reading.Address == 5);
        if (degrees == nullptr) return;
        EXPECT_EQ(*degrees, 10 * std::stoi(reading.Port));
        ++Readings[reading.Port];
    }
    void OnTrouble(const std::string&, const station::Failure& failure) override { ADD_FAILURE() << failure.Detail; }

    std::map<std::string, int> Readings;
};

TEST(Buses, SeveralInOneProcessKeepTheirReadingsApart) {
    constexpr int kBuses = 4;
    const TestFolder folder;
    station::StationResources station({folder.Path + "/", folder.Path + "/config/", folder.Path + "/"}, kLibrary);
    platform::RealApartment listener;
    std::vector<std::unique_ptr<simulator::BusServer>> servers;
    std::vector<std::unique_ptr<station::BusThread>> buses;
    Heard heard;
    const auto allHeard = [&] {
        return heard.Readings.size() == kBuses && std::all_of(heard.Readings.begin(), heard.Readings.end(),
                                                              [](const auto& bus) { return bus.second >= 3; });
    };
    for (int number = 1; number <= kBuses; ++number) {
        const auto value = "5:sensor=" + std::to_string(10 * number);
        servers.push_back(std::make_unique<simulator::BusServer>(
            simulator::SimulatedBus({simulator::ParseSimulatedDevice(value)}), 0));
        station::BusSetup setup;
        setup.PortLabel = std::to_string(number);
        setup.PortPath = servers.back()->Terminal().Path();
        setup.PortNumber = static_cast<std::int16_t>(number);
        setup.Devices = {{5, 106, {}, {}}, {9, 106, {}, {}}};
        setup.Every = std::chrono::milliseconds(100);
        setup.TimeoutFactor = 200;
        setup.Retries = 0;
        setup.DriverThread = number % 2 == 0;
        buses.push_back(std::make_unique<station::BusThread>(station, listener, setup, heard));
        buses.back()->Post([](station::Bus& bus) { bus.Poll(); });
    }
    EXPECT_TRUE(listener.PumpUntil(allHeard, std::chrono::seconds(30)));
    buses.clear();
}

}  // namespace
}  // namespace orvix::tests
