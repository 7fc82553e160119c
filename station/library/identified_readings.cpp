#include "station/library/identified_readings.h"

#include <algorithm>
#include <utility>

#include "host/error.h"

namespace orvix::station {

IdentifiedReadings::IdentifiedReadings(Apartment& bus, std::string port, Asking asking, Listener& listener)
    : m_Bus(bus), m_Port(std::move(port)), m_Asking(std::move(asking)), m_Listener(listener) {}

void IdentifiedReadings::Settle(int address, const std::string& serialNumber) {
    m_Plan.Ended(address, true, m_Bus.Now());
    m_Bus.Post([this, address, serialNumber] { Tell(address, serialNumber); });
}

void IdentifiedReadings::Take(const Reading& reading) {
    // One that was never sent tells nobody when it ends.
    Look();
    const auto address = reading.Address;
    m_Plan.Read(address, reading.Valid());
    if (reading.Valid() && m_Plan.IsDue(address, m_Bus.Now())) Ask(address);
    if (m_Requests.contains(address) && !m_Plan.IsSettled(address)) {
        m_Held[address].push_back(reading);
    } else {
        m_Listener.OnReading(reading);
    }
}

void IdentifiedReadings::Forget(int address) {
    m_Plan.Forget(address);
    m_Held.erase(address);
    m_Requests.erase(address);
}

void IdentifiedReadings::Ask(int address) {
    m_Plan.Asked(address);
    m_Requests[address] = m_Asking.Queue(address);
}

/// What it calls may let the bus's loop run, and so come here again.
void IdentifiedReadings::Look() {
    const auto hasEnded = [](const auto& entry) { return entry.second->WaitForCompletion(0); };
    for (;;) {
        const auto ended = std::find_if(m_Requests.begin(), m_Requests.end(), hasEnded);
        if (ended == m_Requests.end()) return;
        const auto address = ended->first;
        const auto request = std::move(ended->second);
        m_Requests.erase(ended);
        Take(address, SerialNumber(address, *request));
    }
}

std::optional<std::string> IdentifiedReadings::SerialNumber(int address, SharedEntry& request) const {
    request.Lock();
    const bool isTold = request.Data().e == errors::None;
    request.Unlock();
    return isTold ? m_Asking.SerialNumber(address) : std::nullopt;
}

void IdentifiedReadings::Take(int address, const std::optional<std::string>& serialNumber) {
    m_Plan.Ended(address, serialNumber.has_value(), m_Bus.Now());
    if (!m_Plan.IsSettled(address)) return Ask(address);
    const auto held = std::exchange(m_Held[address], {});
    Tell(address, SerialText(serialNumber.value_or("")));
    for (const auto& reading : held)
        m_Listener.OnReading(reading);
}

void IdentifiedReadings::Tell(int address, const std::string& serialNumber) {
    m_Listener.OnIdentity(
        {.Port = m_Port, .Address = address, .Name = {}, .SerialNumber = serialNumber, .Identifier = {}, .Remark = {}});
}

}  // namespace orvix::station
