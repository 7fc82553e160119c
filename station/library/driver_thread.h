#pragma once

#include <functional>
#include <memory>

#include "host/iOrvixDriver.h"
#include "station/library/library.h"
#include "station/library/services_thread.h"

namespace orvix::station {

/// The driver of a bus on a thread of its own, from construction to destruction. What its library objects report and
/// show, and what happens on its line, is told to the bus's services, on the bus's thread.
class DriverThread {
public:
    /// Raises what keeps the driver from being created. `bus` must outlive this.
    DriverThread(const Library& library, BusServices& bus);
    /// Waits for the driver to finish what it is doing. Nobody may hold the driver any more.
    ~DriverThread();
    DriverThread(const DriverThread&) = delete;
    DriverThread& operator=(const DriverThread&) = delete;

    /// Hands over the driver, for use on the bus's thread; once.
    std::shared_ptr<iOrvixDriver> TakeDriver() { return std::move(m_Driver); }
    /// Does something on the driver's thread.
    void Post(std::function<void()> work) { m_Thread.Apartment().Post(std::move(work)); }

private:
    std::shared_ptr<iOrvixDriver> m_Driver;
    ServicesThread m_Thread;
};

}  // namespace orvix::station
