#include "station/source/live_source.h"

#include <time.h>

#include <utility>

namespace orvix::station {
namespace {

class LiveBus : public SourceBus {
public:
    LiveBus(StationResources& station, Apartment& home, const BusSetup& setup, Listener& listener,
            std::function<void()> ended)
        : m_Home(home), m_Thread(station, home, setup, listener, std::move(ended)) {}

    const BusSetup& Setup() const override { return m_Thread.Setup(); }
    void Poll() override {
        m_Thread.Post([](Bus& bus) { bus.Poll(); });
    }
    void Devices(const DeviceChanges& changes) override {
        m_Thread.Post([changes](Bus& bus) { bus.Devices(changes); });
    }
    void Read(int address, ORVIXCNB1_VARS variable, const std::function<void(const Reading&)>& done) override {
        m_Thread.Post([&home = m_Home, address, variable, done](Bus& bus) {
            home.Post([done, reading = bus.Read(address, variable)] { done(reading); });
        });
    }
    void Export(int address, std::int32_t format, const std::function<void(const DeviceFile&)>& done) override {
        m_Thread.Post([&home = m_Home, address, format, done](Bus& bus) {
            home.Post([done, file = bus.Export(address, format)] { done(file); });
        });
    }
    void ReopenTrace() override {
        m_Thread.Post([](Bus& bus) { bus.ReopenTrace(); });
    }
    bool Moves(Duration now) override { return m_Thread.Moves(now); }
    void Close() override { m_Thread.Close(); }

private:
    Apartment& m_Home;
    BusThread m_Thread;
};

}  // namespace

Duration LiveSource::Elapsed() {
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

std::unique_ptr<SourceBus> LiveSource::Open(const BusSetup& setup, Listener& listener, std::function<void()> ended) {
    return std::make_unique<LiveBus>(m_Station, m_Home, setup, listener, std::move(ended));
}

}  // namespace orvix::station
