#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "station/model/listener.h"

namespace orvix::station {

/// Carries what a bus tells to a listener in another apartment, a message for as much as possible: each one wakes a
/// thread. What people wait for goes with the end of the turn of the bus's loop; what else happens goes along, or
/// follows a few milliseconds later. Lives on the bus's thread.
class Outbox : public Listener {
public:
    /// `listener` is called in `home`. Both outlive the messages.
    Outbox(Apartment& bus, Apartment& home, Listener& listener);
    /// Sends what is left.
    ~Outbox() override { Send(); }
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    void OnIdentity(const DeviceIdentity& identity) override;
    void OnReading(const Reading& reading) override;
    void OnTrouble(const std::string& port, const Failure& failure) override;
    void OnMessage(const std::string& port, const std::string& text) override;
    void OnLine(const LineEvent& event) override;
    void OnExchange(const Exchange& exchange) override;

private:
    void Add(std::function<void()> event);
    void SendSoon();
    void Send();

    Apartment& m_Bus;
    Apartment& m_Home;
    Listener& m_Listener;
    const bool m_WantsMessages;
    std::unique_ptr<Timer> m_Delay;  ///< on while something waits that is not sent at the end of the turn
    bool m_IsSendingSoon = false;
    std::vector<std::function<void()>> m_Events;
};

}  // namespace orvix::station
