// What comes back on the line, through the receiving and checking of one exchange.
//
// Input: the address asked; the time factor; then chunks of the line, each a byte of milliseconds and a piece.

#include <cmath>

#include "devices/protocol/basOrvixNB1.h"
#include "devices/protocol/frame.h"
#include "driver/exchange.h"
#include "fuzz/support/input.h"
#include "fuzz/support/require.h"
#include "tests/support/test_host.h"

namespace orvix::fuzz {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMostChunks = 16;
constexpr int kFactorsOfATimeOut = 5;

struct Received {
    ExchangeResult Result;
    Duration Took{0};
};

Received Run(const ExchangeRequest& request, const std::vector<tests::Chunk>& chunks) {
    tests::World world;
    tests::TestHost host(world);
    host.Line.OnRequest = [&](const std::string&) { return chunks; };
    const auto line = host.Line.CreateSerialControl();
    line->PortOpen(true);
    cPlexaERR plexaErr(host.Services);
    return {Exchange(host.Apartment, *line, plexaErr, request), world.Scheduler.Now()};
}

/// Said a second time, from the description of the frame.
bool IsReplyWith(const std::string& bytes, std::uint8_t address, const std::string& payload) {
    const auto at = [&](std::size_t offset) { return static_cast<std::uint8_t>(bytes.at(offset)); };
    const std::string inner = bytes.substr(3, at(1));
    return bytes.size() >= at(1) + std::size_t{5} && at(0) == 0x1D && at(at(1) + std::size_t{4}) == 0x03 &&
           (at(2) == address || at(2) == 0 || address == 0) && inner.size() >= payload.size() + 4 &&
           at(3) == payload.size() && inner.substr(3, payload.size()) == payload &&
           XorOf(inner.substr(0, payload.size() + 4)) == 0;
}

void Check(const ExchangeRequest& request, const std::vector<tests::Chunk>& chunks) {
    const Received received = Run(request, chunks);
    const ExchangeResult& result = received.Result;
    Require(received.Took <= milliseconds(kFactorsOfATimeOut * request.TimeFactor), "an exchange keeps its time limit");
    if (result.Number != errors::None) {
        Require(!result.Text.empty() && result.Reply.empty(), "a failure has a text and no payload");
        return;
    }
    std::string all;
    for (const auto& chunk : chunks)
        all += chunk.Bytes;
    Require(IsReplyWith(all, static_cast<std::uint8_t>(request.DeviceAddress), result.Reply), "a payload has come");
    Accepts([&] { Require(std::isfinite(BytesToReal(result.Reply)), "a real number is finite"); });
}

}  // namespace
}  // namespace orvix::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvix;
    orvix::fuzz::Input input(data, size);
    ExchangeRequest request{.Command = std::string("\x0B\0", 2), .Payload = {}};
    request.DeviceAddress = input.Byte();
    request.TimeFactor = input.Byte();
    std::vector<tests::Chunk> chunks;
    while (!input.Empty() && chunks.size() < orvix::fuzz::kMostChunks) {
        const std::chrono::milliseconds after(input.Byte());
        chunks.push_back({input.Piece(), after});
    }
    orvix::fuzz::Check(request, chunks);
    for (const auto& chunk : chunks)
        ParseRequest(chunk.Bytes);
    return 0;
}
