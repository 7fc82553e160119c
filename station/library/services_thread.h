#pragma once

#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "platform/real_apartment.h"
#include "station/library/bus_services.h"

namespace orvix::station {

/// A thread with an apartment, the serial line of the setup, and services of its own. Its loop runs from construction
/// until the apartment is told to quit; destruction waits for that.
class ServicesThread {
public:
    /// What lives on the thread; released there when the loop has ended.
    using Resident = std::shared_ptr<void>;

    /// `moveIn` runs on the thread before its loop. Raises what it raises. `ended` is the last thing that the thread
    /// does.
    ServicesThread(const ServicesSetup& setup, const std::function<Resident(BusServices&)>& moveIn,
                   std::function<void()> ended = nullptr);
    ~ServicesThread();
    ServicesThread(const ServicesThread&) = delete;
    ServicesThread& operator=(const ServicesThread&) = delete;

    platform::RealApartment& Apartment() { return *m_Apartment; }

private:
    void Work(const ServicesSetup& setup, const std::function<Resident(BusServices&)>& moveIn,
              std::promise<void>& started);

    platform::RealApartment* m_Apartment = nullptr;
    std::thread m_Thread;
};

/// The same event, delivered in the listener's apartment.
template <class Argument>
std::function<void(const Argument&)> PostedTo(Apartment& listener, std::function<void(const Argument&)> handler) {
    return [&listener, handler = std::move(handler)](const Argument& argument) {
        listener.Post([handler, argument] { handler(argument); });
    };
}

}  // namespace orvix::station
