#include "station/library/silent_devices.h"

#include <algorithm>
#include <chrono>

#include "station/model/bus_setup.h"

namespace orvix::station {
namespace {

constexpr std::chrono::seconds kLongestWait{10};

}  // namespace

SilentDevices::SilentDevices(Duration every) : m_Every(every) {}

bool SilentDevices::IsSilent(const Device& device) const {
    return device.Unanswered >= kFailuresUntilOffline;
}

void SilentDevices::Ended(int address, Poll poll, Duration now) {
    auto& device = m_Devices[address];
    device.IsAsked = false;
    if (poll == Poll::Answered) {
        const bool isBack = IsSilent(device);
        m_Devices.erase(address);
        if (isBack) AskAllAt(now);
    } else if (poll == Poll::Unanswered && ++device.Unanswered >= kFailuresUntilOffline) {
        const auto longest = std::max<Duration>(kLongestWait, m_Every);
        device.Wait = device.Unanswered == kFailuresUntilOffline ? m_Every : std::min(2 * device.Wait, longest);
        device.Due = now + device.Wait;
    }
}

/// What kept one of them silent may have been over for all.
void SilentDevices::AskAllAt(Duration now) {
    for (auto& [address, device] : m_Devices)
        if (IsSilent(device)) device.Due = std::min(device.Due, now);
}

bool SilentDevices::IsLeftOut(int address) const {
    const auto at = m_Devices.find(address);
    return at != m_Devices.end() && IsSilent(at->second) && !at->second.IsAsked;
}

bool SilentDevices::Any() const {
    return std::any_of(m_Devices.begin(), m_Devices.end(), [this](const auto& it) { return IsSilent(it.second); });
}

std::optional<int> SilentDevices::NextToAsk(Duration now) {
    std::pair<const int, Device>* next = nullptr;
    for (auto& entry : m_Devices) {
        if (entry.second.IsAsked) return std::nullopt;
        if (IsSilent(entry.second) && entry.second.Due <= now &&
            (next == nullptr || entry.second.Due < next->second.Due))
            next = &entry;
    }
    if (next == nullptr) return std::nullopt;
    next->second.IsAsked = true;
    return next->first;
}

}  // namespace orvix::station
