#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/apartment.h"
#include "host/messaging.h"
#include "station/library/serial_plan.h"
#include "station/model/listener.h"

namespace orvix::station {

/// Finds out which devices answer on a bus by asking for their serial numbers, and hands on a device's readings once
/// that is known, so that none is taken for another's. Lives on the bus's thread.
class IdentifiedReadings {
public:
    /// How a bus is asked.
    struct Asking {
        /// Queues the request; the entry is complete when it has ended.
        std::function<std::unique_ptr<SharedEntry>(int address)> Queue;
        /// What the device has told last; nothing when it does not tell.
        std::function<std::optional<std::string>(int address)> SerialNumber;
    };

    IdentifiedReadings(Apartment& bus, std::string port, Asking asking, Listener& listener);

    /// It is known which device is read; empty: one that does not tell its serial number.
    void Settle(int address, const std::string& serialNumber);
    void Take(const Reading& reading);
    /// A request may have ended.
    void Look();
    void Forget(int address);

private:
    void Ask(int address);
    std::optional<std::string> SerialNumber(int address, SharedEntry& request) const;
    void Take(int address, const std::optional<std::string>& serialNumber);
    void Tell(int address, const std::string& serialNumber);

    Apartment& m_Bus;
    const std::string m_Port;
    const Asking m_Asking;
    Listener& m_Listener;
    SerialPlan m_Plan;
    std::map<int, std::vector<Reading>> m_Held;
    std::map<int, std::unique_ptr<SharedEntry>> m_Requests;
};

}  // namespace orvix::station
