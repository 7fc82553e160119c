#pragma once

#include <memory>
#include <string>

#include "host/apartment.h"
#include "station/model/listener.h"

namespace orvix::station {

/// Tells the service manager that started the program how it does: ready with the first bus that is online, alive as
/// long as the main thread delivers its events, reloading, stopping. Does nothing in a program that was started
/// otherwise.
class ServiceNotifier : public Listener {
public:
    explicit ServiceNotifier(Apartment& home);
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
