#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <thread>
#include <vector>

#include "driver/cOrvixDriverNB1.h"
#include "platform/driver_proxy.h"
#include "platform/real_apartment.h"
#include "platform/serial_line.h"
#include "simulator/bus_server.h"
#include "tests/end_to_end/host_side.h"

using namespace std::chrono_literals;

namespace orvix::tests {
namespace {

/// An apartment of the thread that creates it, with a real line on port 3 and everything else in memory.
struct RealHost {
    RealHost(platform::Directory& directory, const std::string& port)
        : Messaging(directory, Apartment), Line({{3, port}}) {}

    platform::RealApartment Apartment;
    platform::ProcessMessaging Messaging;
    platform::SerialLine Line;
    MemoryStores Stores;
    MemoryDatabase Database;
    RecordingReports Reports;
    RecordingViewer Viewer{Apartment};
    ApartmentState State;
    orvix::Services Services{Apartment, Messaging, Line, Stores, Database, Reports, Viewer, State};
};

/// A driver on a thread of its own.
class DriverThread {
public:
    DriverThread(platform::Directory& directory, const std::string& port, Apartment& caller) {
        std::promise<void> started;
        m_Thread = std::thread([&, this] { Live(directory, port, caller, started); });
        started.get_future().wait();
    }
    ~DriverThread() {
        m_Apartment->Quit();
        m_Thread.join();
        EXPECT_EQ(m_ReleasedOn, m_ThreadID);
    }
    DriverThread(const DriverThread&) = delete;
    DriverThread& operator=(const DriverThread&) = delete;

    std::shared_ptr<iOrvixDriver> TakeDriver() { return std::move(m_Driver); }

private:
    void Live(platform::Directory& directory, const std::string& port, Apartment& caller, std::promise<void>& started) {
        RealHost host(directory, port);
        m_Apartment = &host.Apartment;
        m_ThreadID = gettid();
        std::shared_ptr<iOrvixDriver> driver(new cOrvixDriverNB1(host.Services), [this](iOrvixDriver* it) {
            m_ReleasedOn = gettid();
            delete it;
        });
        m_Driver = std::make_shared<platform::DriverProxy>(caller, host.Apartment, std::move(driver));
        started.set_value();
        host.Apartment.Run();
    }

    platform::RealApartment* m_Apartment = nullptr;
    std::shared_ptr<iOrvixDriver> m_Driver;
    pid_t m_ThreadID = 0;
    pid_t m_ReleasedOn = 0;
    std::thread m_Thread;
};

/// The life of one bus: readings, a dead device while the host writes a property, close.
void RunBus(platform::Directory& directory, int number) {
    const double temperature = 20.5 + number;
    simulator::BusServer bus(simulator::SimulatedBus({{5, kSensorModel, {temperature, temperature, {}}}}), 0);
    RealHost host(directory, bus.Terminal().Path());
    DriverThread thread(directory, bus.Terminal().Path(), host.Apartment);
    HostSide side(host.Services, "HOST" + std::to_string(number), thread.TakeDriver());
    const auto await = [&](SharedEntry& entry) {
        return host.Apartment.PumpUntil([&] { return entry.WaitForCompletion(0); }, 30s);
    };

    side.Adapter.OnLine(true);
    for (int i = 0; i < 5; ++i) {
        const auto entry = side.Read("5", {.TimeFactor = 1000});
        ASSERT_TRUE(await(*entry));
        EXPECT_TRUE(entry->Succeeded()) << entry->Data().eDescr;
        EXPECT_EQ(side.Temperature("5")->Value().ToDouble(), temperature);
    }

    const auto dead = side.Read("9", {.TimeFactor = 60});
    const auto submitted = [&] {
        const auto told = side.Subscriber.Take();
        return std::find(told.begin(), told.end(), "progress:Reading Temp Device 9:20:0:100") != told.end();
    };
    ASSERT_TRUE(host.Apartment.PumpUntil(submitted, 30s));
    int ticks = 0;
    const auto timer = host.Apartment.CreateTimer([&] { ++ticks; });
    timer->Rearm(10, true);
    side.Adapter.NetRetry(0);  // behind the work, which the driver now begins
    side.Adapter.NetRetry(1);  // behind the exchange
    EXPECT_GT(ticks, 0) << "the host's loop stood still while the driver was busy";
    ASSERT_TRUE(await(*dead));
    EXPECT_FALSE(dead->Succeeded());

    const auto interrupted = side.Read("9", {.TimeFactor = 60});
    side.StartClosing();
    EXPECT_TRUE(host.Apartment.PumpUntil([&] { return side.Subscriber.ServerDestroyed; }, 30s));
    EXPECT_TRUE(interrupted->WaitForCompletion(0));
}

TEST(Threads, SeveralBusesWithDriversOnThreadsOfTheirOwn) {
    platform::Directory directory;
    std::vector<std::thread> buses;
    for (int number = 1; number <= 3; ++number)
        buses.emplace_back([&directory, number] { RunBus(directory, number); });
    for (auto& bus : buses)
        bus.join();
}

}  // namespace
}  // namespace orvix::tests
