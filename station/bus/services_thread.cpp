#include "station/bus/services_thread.h"

namespace orvix::station {

ServicesThread::ServicesThread(const ServicesSetup& setup, const std::function<Resident(BusServices&)>& moveIn) {
    std::promise<void> started;
    auto running = started.get_future();
    m_Thread =
        std::thread([this, setup, moveIn, promise = std::move(started)]() mutable { Live(setup, moveIn, promise); });
    try {
        running.get();
    } catch (...) {
        m_Thread.join();
        throw;
    }
}

ServicesThread::~ServicesThread() {
    m_Thread.join();
}

void ServicesThread::Live(const ServicesSetup& setup, const std::function<Resident(BusServices&)>& moveIn,
                          std::promise<void>& started) {
    std::unique_ptr<BusServices> services;
    Resident resident;
    try {
        services = std::make_unique<BusServices>(setup);
        resident = moveIn(*services);
        m_Apartment = &services->Apartment();
        started.set_value();
    } catch (...) {
        started.set_exception(std::current_exception());
        return;
    }
    services->Apartment().Run();
}

}  // namespace orvix::station
