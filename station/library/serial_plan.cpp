#include "station/library/serial_plan.h"

#include <chrono>

#include "station/model/bus_setup.h"

namespace orvix::station {
namespace {

constexpr int kMostRequests = 3;
constexpr std::chrono::hours kAskedAgainAfter{24};

}  // namespace

void SerialPlan::Read(int address, bool isGood) {
    auto& device = m_Devices[address];
    device.FailedReadings = isGood ? 0 : device.FailedReadings + 1;
    if (device.FailedReadings < kFailuresUntilOffline) return;
    device.Settled.reset();
    device.FailedRequests = 0;
}

bool SerialPlan::IsDue(int address, Duration now) const {
    const auto at = m_Devices.find(address);
    if (at == m_Devices.end()) return true;
    const auto& device = at->second;
    return !device.IsAsked && (!device.Settled || now - *device.Settled >= kAskedAgainAfter);
}

bool SerialPlan::IsSettled(int address) const {
    const auto at = m_Devices.find(address);
    return at != m_Devices.end() && at->second.Settled;
}

void SerialPlan::Asked(int address) {
    m_Devices[address].IsAsked = true;
}

void SerialPlan::Ended(int address, bool isTold, Duration now) {
    auto& device = m_Devices[address];
    device.IsAsked = false;
    if (!isTold && ++device.FailedRequests < kMostRequests) return;
    device.FailedRequests = 0;
    device.Settled = now;
}

}  // namespace orvix::station
