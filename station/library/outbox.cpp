#include "station/library/outbox.h"

#include <utility>

namespace orvix::station {

void Outbox::OnReading(const Reading& reading) {
    Add([&listener = m_Listener, reading] { listener.OnReading(reading); });
}

void Outbox::OnTrouble(const std::string& port, const Failure& failure) {
    Add([&listener = m_Listener, port, failure] { listener.OnTrouble(port, failure); });
}

void Outbox::OnMessage(const std::string& port, const std::string& text) {
    if (m_WantsMessages) Add([&listener = m_Listener, port, text] { listener.OnMessage(port, text); });
}

void Outbox::OnLine(const LineEvent& event) {
    Add([&listener = m_Listener, event] { listener.OnLine(event); });
}

void Outbox::OnExchange(const Exchange& exchange) {
    Add([&listener = m_Listener, exchange] { listener.OnExchange(exchange); });
}

void Outbox::Add(std::function<void()> event) {
    if (m_Events.empty()) m_Bus->Post([this] { Send(); });
    m_Events.push_back(std::move(event));
}

void Outbox::Send() {
    if (m_Events.empty()) return;
    m_Home.Post([events = std::exchange(m_Events, {})] {
        for (const auto& event : events)
            event();
    });
}

}  // namespace orvix::station
