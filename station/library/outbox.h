#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "station/model/listener.h"

namespace orvix::station {

/// Carries what a bus tells to a listener in another apartment, all of a turn of the bus's loop in one message: each
/// one wakes a thread.
class Outbox : public Listener {
public:
    /// `listener` is called in `home`. Both outlive the messages.
    Outbox(Apartment& home, Listener& listener)
        : m_Home(home), m_Listener(listener), m_WantsMessages(listener.WantsMessages()) {}
    /// Sends what is left.
    ~Outbox() override { Send(); }
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    /// The loop whose turns count; before anything is told.
    void TurnsOf(Apartment& bus) { m_Bus = &bus; }

    void OnReading(const Reading& reading) override;
    void OnTrouble(const std::string& port, const Failure& failure) override;
    void OnMessage(const std::string& port, const std::string& text) override;
    void OnLine(const LineEvent& event) override;
    void OnExchange(const Exchange& exchange) override;

private:
    void Add(std::function<void()> event);
    void Send();

    Apartment& m_Home;
    Listener& m_Listener;
    const bool m_WantsMessages;
    Apartment* m_Bus = nullptr;
    std::vector<std::function<void()>> m_Events;
};

}  // namespace orvix::station
