#include "station/library/jump_check.h"

#include <cmath>
#include <utility>

namespace orvix::station {
namespace {

// What a temperature may move by between two readings while the line is ill.
constexpr double kCalmStep = 0.5;

}  // namespace

bool JumpCheck::IsNear(const ReadingValue& one, const ReadingValue& other, bool isLineIll) const {
    const auto* degrees = std::get_if<double>(&one);
    const auto* before = std::get_if<double>(&other);
    if (degrees == nullptr || before == nullptr) return !isLineIll || one == other;
    const double step = std::abs(*degrees - *before);
    return (!m_MaxStep || step <= *m_MaxStep) && (!isLineIll || step <= kCalmStep);
}

bool JumpCheck::Jumps(const Device& device, const Reading& reading, Duration now, bool isLineIll) const {
    if (!reading.IsGood()) return false;
    const bool isKnown = device.LastGood != ReadingValue() && now - device.LastGoodAt <= m_Fresh;
    return isKnown ? !IsNear(reading.Value, device.LastGood, isLineIll) : isLineIll;
}

JumpCheck::Result JumpCheck::Take(Reading reading, Duration now, bool isLineIll) {
    auto& device = m_Devices[reading.Address];
    const bool jumps = Jumps(device, reading, now, isLineIll);
    if (jumps && !device.Held) {
        device.Held = std::move(reading);
        return {{}, true};
    }
    Result result;
    if (auto held = std::exchange(device.Held, std::nullopt)) {
        const bool isConfirmed = reading.IsGood() && IsNear(reading.Value, held->Value, isLineIll);
        if (!isConfirmed) held->Why = Doubt::Jump;
        if (!isConfirmed && jumps) reading.Why = Doubt::Jump;
        result.Told.push_back(*std::move(held));
    }
    if (reading.IsGood()) {
        device.LastGood = reading.Value;
        device.LastGoodAt = now;
    }
    result.Told.push_back(std::move(reading));
    return result;
}

std::vector<Reading> JumpCheck::TakeHeld() {
    std::vector<Reading> all;
    for (auto& [address, device] : m_Devices) {
        if (!device.Held) continue;
        all.push_back(*std::exchange(device.Held, std::nullopt));
        all.back().Why = Doubt::Jump;
    }
    return all;
}

}  // namespace orvix::station
