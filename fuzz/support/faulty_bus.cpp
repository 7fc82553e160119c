#include "fuzz/support/faulty_bus.h"

#include <cerrno>
#include <utility>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"
#include "fuzz/support/require.h"

namespace orvix::fuzz {

namespace {

using std::chrono::milliseconds;

const std::string kTemperatureCode("\x0B\0", 2);
const std::string kInputsCode("\x05\0", 2);

constexpr int kBitsOfAByte = 8;
/// So that few numbers reach every byte of a frame.
constexpr int kBitsBetweenNumbers = 5;
constexpr int kPayloadsOfAnAddress = 4096;
constexpr int kInputsOfAnAddress = 16;
constexpr int kMillisecondsLateByNumber = 10;

std::string Flipped(std::string frame, int number) {
    const auto bit = static_cast<std::size_t>(number) * kBitsBetweenNumbers % (frame.size() * kBitsOfAByte);
    frame[bit / kBitsOfAByte] = static_cast<char>(frame[bit / kBitsOfAByte] ^ 1 << bit % kBitsOfAByte);
    return frame;
}

}  // namespace

void FaultyBus::HungUp(bool rhs) {
    m_Line.MissingUntil = rhs ? Duration::max() : Duration::zero();
    if (rhs) m_Line.HangUp();
}

void FaultyBus::Mend() {
    m_Faults.clear();
    HungUp(false);
}

bool FaultyBus::HasSent(const std::string& address, const std::string& payload) const {
    const auto sent = m_Sent.find(address);
    return sent != m_Sent.end() && sent->second.contains(payload);
}

std::vector<tests::Chunk> FaultyBus::Answer(const std::string& bytes) {
    const auto request = ParseRequest(bytes);
    Require(request.has_value(), "a request is a whole frame");
    Planned planned;
    if (!m_Faults.empty()) {
        planned = m_Faults.front();
        m_Faults.pop_front();
    }
    const std::string payload = NewPayload(request->address, request->code);
    const std::string frame = BuildFrame(request->address, request->code, payload);
    switch (planned.Kind) {
        case Fault::None:
            return {{frame}};
        case Fault::Late:
            return {{frame, milliseconds(planned.Number * kMillisecondsLateByNumber)}};
        case Fault::Cut:
            return {{frame.substr(0, static_cast<std::size_t>(planned.Number) % frame.size())}};
        case Fault::Flipped:
            return {{Flipped(frame, planned.Number)}};
        case Fault::Doubled:
            return {{frame + frame}};
        case Fault::Missing:
            return {};
        case Fault::Refused:
            return {{BuildFrame(request->address, std::string(2, '\0'), "\xC9")}};
    }
    return {};
}

/// Temperatures and serial numbers tell their order; one byte of inputs can only tell its address. None begins as a
/// refusal does.
std::string FaultyBus::NewPayload(int address, const std::string& code) {
    const int number = m_Answers++;
    std::string payload = "S" + std::to_string(100 + number % 900);
    if (code == kTemperatureCode) {
        payload = RealToBytes(static_cast<float>(address * kPayloadsOfAnAddress + number % kPayloadsOfAnAddress));
    } else if (code == kInputsCode) {
        payload = std::string(1, static_cast<char>(address * kInputsOfAnAddress + number % kInputsOfAnAddress));
    }
    m_Sent[std::to_string(address)].insert(payload);
    return payload;
}

}  // namespace orvix::fuzz
