#include <future>
#include <thread>

#include "platform/real_apartment.h"
#include "platform/serial_line.h"
#include "soak/faulty_terminal.h"
#include "soak/parts.h"
#include "soak/soak_bus.h"
#include "tests/support/test_folder.h"

namespace orvix::soak {

namespace {

using namespace std::chrono_literals;

constexpr std::int16_t kPort = 3;

/// What the library asks of its host, on the thread that makes this and on a real port.
struct RealHost {
    RealHost(platform::Directory& directory, const std::string& port)
        : Messaging(directory, Apartment), Line({{kPort, port}}) {}

    platform::RealApartment Apartment;
    platform::ProcessMessaging Messaging;
    platform::SerialLine Line;
    tests::MemoryStores Stores;
    tests::MemoryDatabase Database;
    tests::RecordingReports Reports;
    tests::RecordingViewer Viewer{Apartment};
    ApartmentState State;
    orvix::Services Services{Apartment, Messaging, Line, Stores, Database, Reports, Viewer, State};
};

/// A thread on which a driver lives.
class DriverThread {
public:
    DriverThread(platform::Directory& directory, const std::string& port) {
        std::promise<RealHost*> ready;
        auto host = ready.get_future();
        m_Thread = std::thread([&directory, port, &ready] {
            RealHost home(directory, port);
            ready.set_value(&home);
            home.Apartment.Run();
        });
        m_Home = host.get();
    }
    ~DriverThread() {
        m_Home->Apartment.Quit();
        m_Thread.join();
    }
    DriverThread(const DriverThread&) = delete;
    DriverThread& operator=(const DriverThread&) = delete;

    std::shared_ptr<iOrvixDriver> CreateDriver(RealHost& caller) {
        std::promise<std::shared_ptr<iOrvixDriver>> made;
        m_Home->Apartment.Post([&] { made.set_value(std::make_shared<cOrvixDriverNB1>(m_Home->Services)); });
        return std::make_shared<platform::DriverProxy>(caller.Apartment, m_Home->Apartment, made.get_future().get());
    }

private:
    RealHost* m_Home = nullptr;
    std::thread m_Thread;
};

/// One bus on the thread that calls.
void RunBus(const std::string& port, bool driverApart, std::chrono::seconds time, std::uint32_t seed, Counts& counts) {
    platform::Directory directory;
    RealHost host(directory, port);
    std::optional<DriverThread> apart;
    if (driverApart) apart.emplace(directory, port);
    SoakBus bus(host.Services, apart ? apart->CreateDriver(host) : std::make_shared<cOrvixDriverNB1>(host.Services),
                seed, counts);
    host.Apartment.PumpUntil([] { return false; }, time);
    bus.Finish();
}

}  // namespace

Part RunReal(std::chrono::seconds time, std::uint32_t seed) {
    Part part{.Name = "real", .Buses = {{}, {}}, .WarmedUp = Footprint::Now(), .Over = {}};
    {
        const tests::TestFolder folder;
        const auto run = [&](std::uint32_t bus) {
            const std::string port = folder.Path + "/bus" + std::to_string(bus);
            const FaultyTerminal terminal(port, seed + 2 * bus, part.Buses[bus]);
            RunBus(port, bus == 1, time, seed + 2 * bus + 1, part.Buses[bus]);
        };
        std::jthread first(run, 0);
        std::jthread second(run, 1);
        // Descriptors are counted before and after, memory once everything is there.
        std::this_thread::sleep_for(time / 5);
        part.WarmedUp.ResidentKiB = Footprint::Now().ResidentKiB;
        std::this_thread::sleep_for(time - time / 5 - 1s);
        part.Over.ResidentKiB = Footprint::Now().ResidentKiB;
    }
    part.Over.Descriptors = Footprint::Now().Descriptors;
    return part;
}

}  // namespace orvix::soak
