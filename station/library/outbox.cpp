#include "station/library/outbox.h"

#include <utility>

namespace orvix::station {
namespace {

// Longer than a task takes from its last exchange to its reading, with which the events of the exchange then go.
constexpr std::int32_t kDelayMs = 25;

}  // namespace

Outbox::Outbox(Apartment& bus, Apartment& home, Listener& listener)
    : m_Bus(bus),
      m_Home(home),
      m_Listener(listener),
      m_WantsMessages(listener.WantsMessages()),
      m_Delay(bus.CreateTimer([this] { Send(); })) {}

void Outbox::OnIdentity(const DeviceIdentity& identity) {
    Add([&listener = m_Listener, identity] { listener.OnIdentity(identity); });
    SendSoon();
}

void Outbox::OnReading(const Reading& reading) {
    Add([&listener = m_Listener, reading] { listener.OnReading(reading); });
    SendSoon();
}

void Outbox::OnTrouble(const std::string& port, const Failure& failure) {
    Add([&listener = m_Listener, port, failure] { listener.OnTrouble(port, failure); });
    SendSoon();
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
    if (m_Events.empty()) m_Delay->Rearm(kDelayMs, true);
    m_Events.push_back(std::move(event));
}

void Outbox::SendSoon() {
    if (!std::exchange(m_IsSendingSoon, true)) m_Bus.Post([this] { Send(); });
}

void Outbox::Send() {
    m_IsSendingSoon = false;
    m_Delay->Enabled(false);
    if (m_Events.empty()) return;
    m_Home.Post([events = std::exchange(m_Events, {})] {
        for (const auto& event : events)
            event();
    });
}

}  // namespace orvix::station
