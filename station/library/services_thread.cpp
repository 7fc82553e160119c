#include "station/library/services_thread.h"

#include "platform/serial_line.h"
#include "station/line/line_tap.h"

namespace orvix::station {

ServicesThread::ServicesThread(const ServicesSetup& setup, const std::function<Resident(BusServices&)>& moveIn,
                               std::function<void()> ended) {
    std::promise<void> started;
    auto running = started.get_future();
    m_Thread = std::thread([this, setup, moveIn, promise = std::move(started), ended = std::move(ended)]() mutable {
        Work(setup, moveIn, promise);
        if (ended) ended();
    });
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

void ServicesThread::Work(const ServicesSetup& setup, const std::function<Resident(BusServices&)>& moveIn,
                          std::promise<void>& started) {
    platform::RealApartment apartment;
    platform::SerialLine serialLine({{setup.PortNumber, setup.PortPath}});
    std::unique_ptr<BusServices> services;
    LineTap line(serialLine, apartment, setup.PortLabel, [&services](const LineEvent& event) {
        if (services->OnLine) services->OnLine(event);
    });
    Resident resident;
    try {
        services = std::make_unique<BusServices>(setup, apartment, line);
        resident = moveIn(*services);
        m_Apartment = &apartment;
        started.set_value();
    } catch (...) {
        started.set_exception(std::current_exception());
        return;
    }
    apartment.Run();
}

}  // namespace orvix::station
