#include <benchmark/benchmark.h>

#include <stdexcept>

#include "bench/benches.h"
#include "bench/clocks.h"
#include "bench/comparison.h"
#include "bench/plain_frame.h"
#include "devices/protocol/frame.h"

namespace orvix::bench {
namespace {

constexpr int kCalls = 100000;
constexpr std::uint8_t kAddress = 5;
const std::string kCode("\x0B\x00", 2);

void AddFrame(const std::string& subject, const std::string& payload) {
    if (BuildFrame(kAddress, kCode, payload) != PlainBuild(kAddress, kCode, payload) ||
        PlainCheck(BuildFrame(kAddress, kCode, payload), kAddress) != payload) {
        throw std::logic_error("the plain frame differs");
    }
    const auto own = [payload] {
        return TimePerCall(kCalls, [&] {
            auto reply = CheckReply(BuildFrame(kAddress, kCode, payload), kAddress);
            benchmark::DoNotOptimize(reply);
        });
    };
    const auto peer = [payload] {
        return TimePerCall(kCalls, [&] {
            auto reply = PlainCheck(PlainBuild(kAddress, kCode, payload), kAddress);
            benchmark::DoNotOptimize(reply);
        });
    };
    AddComparison(subject, {"build and check", "ns", AtMost(0.8)}, 31, own, peer);
}

}  // namespace

void AddFrameComparisons() {
    AddFrame("frame of 13 bytes", std::string("\x83\x40\x00\x00", 4));
    AddFrame("frame of 73 bytes", std::string(64, 'x'));
    AddFrame("frame of 260 bytes", std::string(251, 'x'));
}

}  // namespace orvix::bench
