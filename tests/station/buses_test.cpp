#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "simulator/bus_server.h"
#include "station/bus_thread.h"
#include "tests/support/test_folder.h"

namespace orvix::tests {
namespace {

// Each bus lives on a thread of its own, every second driver on another; what they share is the process.
TEST(Buses, SeveralInOneProcessKeepTheirReadingsApart) {
    constexpr int kBuses = 4;
    constexpr int kReadings = 5;
    const TestFolder folder;
    station::Station station({folder.Path + "/", folder.Path + "/config/", folder.Path + "/"}, NIMBO1_LIBRARY);
    platform::RealApartment listener;
    std::vector<std::unique_ptr<simulator::BusServer>> servers;
    std::vector<std::unique_ptr<station::BusThread>> buses;
    std::map<std::string, std::vector<double>> values;
    const auto allHeard = [&] {
        int complete = 0;
        for (const auto& [port, heard] : values)
            complete += heard.size() >= kReadings ? 1 : 0;
        return complete == kBuses;
    };
    for (int number = 1; number <= kBuses; ++number) {
        const auto value = "5:sensor=" + std::to_string(10 * number);
        servers.push_back(std::make_unique<simulator::BusServer>(
            simulator::SimulatedBus({simulator::ParseSimulatedDevice(value)}), 0));
        station::BusSetup setup;
        setup.PortLabel = std::to_string(number);
        setup.PortPath = servers.back()->Terminal().Path();
        setup.PortNumber = static_cast<std::int16_t>(number);
        setup.Devices = {{5, 106, {}}};
        setup.Every = std::chrono::milliseconds(100);
        setup.TimeoutFactor = 200;
        setup.DriverThread = number % 2 == 0;
        station::BusEvents events{
            .OnReading =
                [&](const station::Reading& reading) {
                    const auto* degrees = std::get_if<double>(&reading.Value);
                    values[reading.Port].push_back(degrees == nullptr ? -1 : *degrees);
                },
            .OnTrouble = [](const station::Failure& failure) { ADD_FAILURE() << failure.Detail; },
            .OnMessage = [](const std::string&) {},
        };
        buses.push_back(std::make_unique<station::BusThread>(station, listener, setup, std::move(events)));
        buses.back()->Post([](station::Bus& bus) { bus.Poll(); });
    }
    EXPECT_TRUE(listener.PumpUntil(allHeard, std::chrono::seconds(30)));
    buses.clear();
    for (const auto& [port, heard] : values) {
        for (const double value : heard)
            EXPECT_EQ(value, 10 * std::stoi(port));
    }
}

}  // namespace
}  // namespace orvix::tests
