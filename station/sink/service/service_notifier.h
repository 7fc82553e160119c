#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/apartment.h"
#include "station/model/listener.h"

namespace orvix::station {

/// Tells the service manager that started the program how it does: ready with the first bus that is online, alive as
/// long as the main thread delivers its events and all buses move, reloading, stopping. Does nothing in a program that
/// was started otherwise.
class ServiceNotifier : public Listener {
public:
    /// `allMove` is asked on the apartment whether the station gets on with its work.
    ServiceNotifier(Apartment& home, std::function<bool()> allMove);
    /// Tells that the program is stopping.
    ~ServiceNotifier() override;

    void OnLine(const LineEvent& event) override;

    void Reloading();
    void Reloaded();

private:
    bool m_Ready = false;
    std::unique_ptr<Timer> m_Alive;
};

}  // namespace orvix::station
