#include "soak/model/model_devices.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"

namespace orvix::soak {

namespace token {

namespace {
/// Above the value that a sensor reports before it has measured anything.
constexpr std::uint32_t kFirst = 64;
constexpr std::uint32_t kFirstPoll = 1U << 20;
}  // namespace

std::uint32_t OfRequest(std::uint64_t sequence, std::size_t device) {
    return (kFirst + static_cast<std::uint32_t>(sequence % kCycle)) * kDevices + static_cast<std::uint32_t>(device);
}

std::uint32_t OfPoll(std::uint64_t sequence, std::size_t device) {
    return kFirstPoll + OfRequest(sequence, device);
}

bool IsPoll(std::uint32_t token) {
    return token >= kFirstPoll;
}

std::size_t DeviceOf(std::uint32_t token) {
    return token % kDevices;
}

std::optional<std::uint32_t> In(const Variant& payload) {
    if (const auto* single = payload.As<float>()) return static_cast<std::uint32_t>(*single);
    const std::string text = payload.ToText();
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc() && end == text.data() + text.size()) return number;
    if (text.size() != 4) return std::nullopt;
    return static_cast<std::uint32_t>(BytesToReal(text));
}

}  // namespace token

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kOneFaultIn = 10;
constexpr std::string_view kTemperatureCode("\x0B\0", 2);
/// A device's answer when it refuses.
constexpr std::string_view kRefusalCode("\x07\0", 2);
constexpr std::string_view kRefusal("\xC9", 1);

}  // namespace

ModelDevices::ModelDevices(Apartment& apartment, tests::ScriptedLine& line, Random& random)
    : m_Apartment(apartment), m_Line(line), m_Random(random) {
    m_Line.Respond = [this](const std::string& request) { return Answer(request); };
}

tests::Response ModelDevices::Answer(const std::string& request) {
    OnRequest();
    const auto asked = ParseRequest(request);
    const auto* device = std::ranges::find_if(
        kModelFleet, [&](const ModelDevice& it) { return asked && it.Address == std::to_string(asked->address); });
    if (device == std::end(kModelFleet)) return {};
    const auto index = static_cast<std::size_t>(device - std::begin(kModelFleet));
    const std::uint32_t number =
        asked->payload.empty() ? token::OfPoll(++m_Polls, index) : token::In(asked->payload).value_or(0);
    const std::string payload =
        asked->code == kTemperatureCode ? RealToBytes(static_cast<float>(number)) : std::to_string(number);
    std::string reply = BuildFrame(asked->address, asked->code, payload);
    if (!Healthy && OneIn(m_Random, kOneFaultIn)) return Fault(std::move(reply), asked->address);
    return {{{std::move(reply), 1ms + std::chrono::milliseconds(Draw(m_Random, 20))}}};
}

tests::Response ModelDevices::Fault(std::string reply, std::int32_t address) {
    switch (Draw(m_Random, 5)) {
        case 0:
            return {};
        case 1:
            return {{{BuildFrame(address, kRefusalCode, kRefusal)}}};
        case 2:
            reply[reply.size() - 3] ^= 1;  // the inner checksum
            return {{{std::move(reply)}}};
        case 3:
            if (OneIn(m_Random, 4))
                m_Line.MissingUntil = m_Apartment.Now() + std::chrono::milliseconds(Draw(m_Random, 3000));
            return {{{reply.substr(0, 4), 1ms, true}}};
        default:
            return {{}, true};
    }
}

}  // namespace orvix::soak
