#include "soak/faulty_devices.h"

#include <algorithm>
#include <iterator>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"

namespace orvix::soak {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

using Chunks = std::vector<tests::Chunk>;

constexpr std::uint32_t kOneFaultIn = 8;
constexpr milliseconds kLatest = 400ms;
constexpr std::int64_t kOldest = 5;  // seconds that a value may be old when it is read
constexpr std::int64_t kSensorCycle = 10000;
constexpr std::int64_t kModuleCycle = 16;

std::int64_t Seconds(Duration time) {
    return std::chrono::duration_cast<std::chrono::seconds>(time).count();
}

std::size_t Place(Random& random, const std::string& bytes) {
    return Draw(random, static_cast<std::uint32_t>(bytes.size()));
}

char AnyByte(Random& random) {
    return static_cast<char>(static_cast<unsigned char>(Draw(random, 256)));
}

/// A reply on its way through the fault.
struct Exchange {
    const std::string& Request;
    std::string Reply;
    Duration Now;
};

// The faults: each makes what comes in place of the reply.
Chunks Silence(const Exchange&, Random&) {
    return {};
}
Chunks Cut(const Exchange& it, Random& random) {
    return {{it.Reply.substr(0, Place(random, it.Reply))}};
}
Chunks LosesAByte(const Exchange& it, Random& random) {
    std::string reply = it.Reply;
    reply.erase(Place(random, reply), 1);
    return {{reply}};
}
Chunks AByteMore(const Exchange& it, Random& random) {
    std::string reply = it.Reply;
    const char byte = AnyByte(random);
    reply.insert(Place(random, reply), 1, byte);
    return {{reply}};
}
Chunks WrongByte(const Exchange& it, Random& random) {
    std::string reply = it.Reply;
    reply[Place(random, reply)] = AnyByte(random);
    return {{reply}};
}
Chunks Rubbish(const Exchange& it, Random& random) {
    std::string reply = it.Reply;
    for (std::uint32_t more = Draw(random, 4); more != ~0U; --more)
        reply.insert(0, 1, AnyByte(random));
    return {{reply}};
}
Chunks Refusal(const Exchange& it, Random&) {
    return {{BuildFrame(static_cast<unsigned char>(it.Request[2]), std::string_view("\x07\0", 2), "\xC9")}};
}
Chunks Echo(const Exchange& it, Random&) {
    return {{it.Request}, {it.Reply}};
}
Chunks OfAnother(const Exchange& it, Random& random) {
    const Measurement& another = kFleet[Draw(random, std::size(kFleet))];
    return {{BuildFrame(another.Address, std::string_view("\x0B\0", 2), another.At(it.Now))}, {it.Reply}};
}
Chunks Doubled(const Exchange& it, Random&) {
    return {{it.Reply}, {it.Reply}};
}
Chunks Slow(const Exchange& it, Random&) {
    Chunks bytes;
    for (const char byte : it.Reply)
        bytes.push_back({std::string(1, byte), 2ms});
    return bytes;
}
Chunks Late(const Exchange& it, Random& random) {
    return {{it.Reply, 45ms + milliseconds(Draw(random, (kLatest - 45ms).count()))}};
}
Chunks HangUpBefore(const Exchange&, Random&) {
    return {{"", 1ms, true}};
}
Chunks HangUpWithin(const Exchange& it, Random& random) {
    return {{it.Reply.substr(0, Place(random, it.Reply)), 1ms, true}};
}
Chunks HangUpBehind(const Exchange& it, Random&) {
    return {{it.Reply, 1ms, true}};
}

constexpr struct {
    const char* Name;
    Chunks (*Comes)(const Exchange& it, Random& random);
} kFaults[] = {
    {"silence", Silence},
    {"cut reply", Cut},
    {"a byte lost", LosesAByte},
    {"a byte too many", AByteMore},
    {"a wrong byte", WrongByte},
    {"rubbish before the reply", Rubbish},
    {"refusal", Refusal},
    {"echo", Echo},
    {"another device's reply", OfAnother},
    {"doubled reply", Doubled},
    {"slow reply", Slow},
    {"late reply", Late},
    {"hang-up before the reply", HangUpBefore},
    {"hang-up within the reply", HangUpWithin},
    {"hang-up behind the reply", HangUpBehind},
};

/// Most hang-ups are short; one in eight lasts up to ten seconds.
Duration TimeGone(Random& random) {
    return milliseconds(Draw(random, 8) == 0 ? Draw(random, 10000) : 0);
}

}  // namespace

std::string Measurement::At(Duration now) const {
    const std::int64_t seconds = Seconds(now);
    if (Model == kTemperatureSensorModel)
        return RealToBytes(static_cast<float>(Address * kSensorCycle + seconds % kSensorCycle));
    return {static_cast<char>(static_cast<unsigned char>(Address * kModuleCycle + seconds % kModuleCycle))};
}

bool Measurement::Fits(const Variant& value, Duration now) const {
    const std::int64_t cycle = Model == kTemperatureSensorModel ? kSensorCycle : kModuleCycle;
    const std::string text = value.ToText();
    if (cycle == kModuleCycle && text.size() != 1) return false;
    const std::int64_t measured =
        cycle == kModuleCycle ? static_cast<unsigned char>(text[0]) : static_cast<std::int64_t>(value.ToSingle());
    const std::int64_t age = (Seconds(now) - measured % cycle + cycle) % cycle;
    return measured / cycle == Address && age % cycle <= kOldest;
}

Outcome FaultyDevices::Answer(const std::string& request, Duration now) {
    const auto asked = ParseRequest(request);
    const auto* device = std::find_if(std::begin(kFleet), std::end(kFleet),
                                      [&](const Measurement& it) { return asked && it.Address == asked->address; });
    if (device == std::end(kFleet)) return {};
    const Exchange exchange{request, BuildFrame(asked->address, asked->code, device->At(now)), now};
    if (now < m_LateUntil || Draw(m_Random, kOneFaultIn) != 0) return {{{{exchange.Reply}}}};
    const auto& fault = kFaults[Draw(m_Random, std::size(kFaults))];
    ++m_Counts.Faults[fault.Name];
    Outcome outcome{{fault.Comes(exchange, m_Random)}};
    if (fault.Comes == Late) m_LateUntil = now + kLatest;
    const Chunks& chunks = outcome.Line.Reply;
    if (std::any_of(chunks.begin(), chunks.end(), [](const auto& chunk) { return chunk.HangsUp; }))
        outcome.Gone = TimeGone(m_Random);
    return outcome;
}

}  // namespace orvix::soak
