#include "station/bus_thread.h"

#include <memory>

namespace orvix::station {
namespace {

// The same event, delivered in the listener's apartment.
template <class Argument>
std::function<void(const Argument&)> PostedTo(Apartment& listener, std::function<void(const Argument&)> handler) {
    return [&listener, handler = std::move(handler)](const Argument& argument) {
        listener.Post([handler, argument] { handler(argument); });
    };
}

}  // namespace

BusThread::BusThread(Station& station, Apartment& listener, const BusSetup& setup, BusEvents events) {
    const BusEvents posted{PostedTo(listener, std::move(events.OnReading)),
                           PostedTo(listener, std::move(events.OnTrouble)),
                           PostedTo(listener, std::move(events.OnMessage))};
    std::promise<void> started;
    auto running = started.get_future();
    m_Thread = std::thread([this, &station, setup, posted, promise = std::move(started)]() mutable {
        Live(station, setup, posted, promise);
    });
    try {
        running.get();
    } catch (...) {
        m_Thread.join();
        throw;
    }
}

BusThread::~BusThread() {
    Post([this](Bus& bus) { bus.Close([this] { m_Apartment->Quit(); }); });
    m_Thread.join();
}

void BusThread::Post(std::function<void(Bus&)> work) {
    m_Apartment->Post([this, work = std::move(work)] { work(*m_Bus); });
}

void BusThread::Live(Station& station, const BusSetup& setup, const BusEvents& events, std::promise<void>& started) {
    std::unique_ptr<BusServices> services;
    std::unique_ptr<Bus> bus;
    try {
        services = std::make_unique<BusServices>(station.Directory, station.Folders, station.Account, station.Viewer,
                                                 setup.PortNumber, setup.PortPath, setup.TimeoutFactor);
        bus = std::make_unique<Bus>(station.Library, *services, station.Folders, setup, events);
        m_Apartment = &services->Apartment();
        m_Bus = bus.get();
        started.set_value();
    } catch (...) {
        started.set_exception(std::current_exception());
        return;
    }
    services->Apartment().Run();
}

}  // namespace orvix::station
