#include "station/library/identified_readings.h"

#include <utility>

#include "host/error.h"

namespace orvix::station {
namespace {

constexpr std::int32_t kLookPeriodMs = 20;

}  // namespace

IdentifiedReadings::IdentifiedReadings(Apartment& bus, std::string port, Asking asking, Listener& listener)
    : m_Bus(bus),
      m_Port(std::move(port)),
      m_Asking(std::move(asking)),
      m_Listener(listener),
      m_Look(bus.CreateTimer([this] { Look(); })) {}

void IdentifiedReadings::Take(const Reading& reading) {
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
    m_Look->Rearm(kLookPeriodMs, true);
}

void IdentifiedReadings::Look() {
    std::vector<int> ended;
    for (const auto& [address, request] : m_Requests)
        if (request->WaitForCompletion(0)) ended.push_back(address);
    for (const auto address : ended) {
        const auto request = m_Requests.extract(address);
        Take(address, SerialNumber(address, *request.mapped()));
    }
    if (m_Requests.empty()) m_Look->Enabled(false);
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
    m_Listener.OnIdentity({.Port = m_Port,
                           .Address = address,
                           .Name = {},
                           .SerialNumber = SerialText(serialNumber.value_or("")),
                           .Identifier = {},
                           .Remark = {}});
    for (const auto& reading : held)
        m_Listener.OnReading(reading);
}

}  // namespace orvix::station
