#include "simulator/fault_plan.h"

#include <algorithm>
#include <utility>

#include "devices/protocol/frame.h"
#include "simulator/simulated_bus.h"

namespace orvix::simulator {
namespace {

// Where the payload begins: behind start byte, length, address, length of the payload and code.
constexpr std::size_t kPayloadAt = 6;
// Outer checksum and end byte.
constexpr std::size_t kTrailer = 2;

constexpr std::size_t kMostRubbish = 8;

}  // namespace

FaultPlan::FaultPlan(const std::vector<Fault>& faults, std::uint64_t seed) : m_Random(seed) {
    for (const auto& fault : faults)
        m_Faults.push_back({fault});
}

BusAnswer FaultPlan::Spoil(int address, std::string answer) {
    BusAnswer spoilt{std::move(answer)};
    for (auto& counted : m_Faults) {
        if (Hits(counted, address)) Apply(counted.Fault, address, spoilt);
    }
    return spoilt;
}

bool FaultPlan::Hits(Counted& counted, int address) {
    const auto& fault = counted.Fault;
    if (fault.Kind == FaultKind::Unplug || fault.Address.value_or(address) != address) return false;
    if (fault.Nth) return ++counted.Requests == *fault.Nth;
    constexpr std::size_t kResolution = 1'000'000;
    return static_cast<double>(Draw(kResolution)) < fault.Rate * static_cast<double>(kResolution);
}

void FaultPlan::Apply(const Fault& fault, int address, BusAnswer& answer) {
    switch (fault.Kind) {
        case FaultKind::Drop:
            return answer.Bytes.clear();
        case FaultKind::Delay:
            answer.Delay += fault.By;
            return;
        case FaultKind::Corrupt:
            return FlipBit(answer.Bytes);
        case FaultKind::Cut:
            return answer.Bytes.resize(answer.Bytes.size() / 2);
        case FaultKind::Refuse:
            answer.Bytes = BuildRefusal(address);
            return;
        case FaultKind::Noise:
            answer.Bytes = Rubbish() + answer.Bytes;
            return;
        case FaultKind::Duplicate:
            return AnswerTwice(answer.Bytes);
        case FaultKind::Unplug:
            return;
    }
}

/// The outer checksum and the code are compared by nobody, so that a wrong bit there would be no fault.
void FaultPlan::FlipBit(std::string& frame) {
    if (frame.size() <= kPayloadAt + kTrailer) return;
    auto& byte = frame[kPayloadAt + Draw(frame.size() - kPayloadAt - kTrailer)];
    byte = static_cast<char>(byte ^ (1 << Draw(8)));
}

std::string FaultPlan::Rubbish() {
    std::string rubbish(1 + Draw(kMostRubbish), '\0');
    std::generate(rubbish.begin(), rubbish.end(), [this] { return static_cast<char>(Draw(256)); });
    return rubbish;
}

/// Two drivers on one wire: where one pulls the line low, it is low. The second device is a byte later.
void FaultPlan::AnswerTwice(std::string& frame) {
    if (Draw(2) == 0) {
        frame += frame;
        return;
    }
    for (std::size_t at = frame.size(); at-- > 1;)
        frame[at] = static_cast<char>(frame[at] & frame[at - 1]);
}

std::size_t FaultPlan::Draw(std::size_t limit) {
    return static_cast<std::size_t>(m_Random() % limit);
}

}  // namespace orvix::simulator
