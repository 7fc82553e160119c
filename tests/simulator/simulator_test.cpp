#include <gtest/gtest.h>

#include "devices/protocol/basOrvixNB1.h"
#include "simulator/device_arguments.h"
#include "simulator/simulated_bus.h"
#include "tests/support/scripted_line.h"

namespace orvix::simulator {
namespace {

using namespace std::chrono_literals;
using tests::Bytes;
using tests::Hex;

SimulatedBus BusOf(std::initializer_list<const char*> devices) {
    std::vector<SimulatedDevice> parsed;
    for (const auto* text : devices)
        parsed.push_back(ParseSimulatedDevice(text));
    return SimulatedBus(parsed);
}

std::string Answers(SimulatedBus& bus, const std::string& request, Time now) {
    std::string bytes;
    for (const auto& answer : bus.Receive(request, now))
        bytes += answer.Bytes;
    return bytes;
}

TEST(SimulatedBus, AnswersAsTheDevicesWould) {
    auto bus = BusOf({"5:sensor=21.5", "7:digital=5"});
    const struct {
        const char* What;
        const char* Request;
        const char* Reply;
    } cases[] = {
        {"temperature", "1D 04 05 00 0B 00 0B 01 03", "1D 08 05 04 0B 00 83 2C 00 00 A0 0D 03"},
        {"inputs", "1D 04 07 00 05 00 05 03 03", "1D 05 07 01 05 00 05 01 02 03"},
        {"inputs of a sensor: refused", "1D 04 05 00 05 00 05 01 03", "1D 05 05 01 07 00 C9 CF 00 03"},
        {"nobody's address", "1D 04 09 00 0B 00 0B 0D 03", ""},
        {"a frame behind rubbish", "00 FF 1D 04 07 00 05 00 05 03 03", "1D 05 07 01 05 00 05 01 02 03"},
        {"a broken checksum", "1D 04 07 00 05 00 06 03 03", ""},
    };
    auto now = Time(0);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.What);
        EXPECT_EQ(Hex(Answers(bus, Bytes(c.Request), now += 1s)), c.Reply);
    }
}

TEST(SimulatedBus, TakesARequestInPiecesButNotTheRestOfABrokenOne) {
    auto bus = BusOf({"7:digital=5"});
    EXPECT_EQ(Answers(bus, Bytes("1D 04 07 00 05"), 1s), "");
    EXPECT_NE(Answers(bus, Bytes("00 05 03 03"), 1s + 5ms), "");
    EXPECT_EQ(Answers(bus, Bytes("1D FF 07"), 2s), "");
    EXPECT_NE(Answers(bus, Bytes("1D 04 07 00 05 00 05 03 03"), 3s), "");
}

TEST(ValueSource, RisesOverEachPeriod) {
    const auto ramp = ParseSimulatedDevice("6:sensor=ramp:20:30:60s").Value;
    EXPECT_DOUBLE_EQ(ramp.At(0s), 20);
    EXPECT_DOUBLE_EQ(ramp.At(30s), 25);
    EXPECT_DOUBLE_EQ(ramp.At(90s), 25);
}

TEST(Arguments, DurationsHaveAUnitAndALimit) {
    EXPECT_EQ(ParseDuration("500ms"), 500ms);
    EXPECT_EQ(ParseDuration("1.5m"), 90s);
    for (const auto* wrong : {"", "5", "ms", "-1s", "0s", "1e9h", "25h0", "600h", "nans", "1 s"}) {
        EXPECT_THROW(ParseDuration(wrong), ArgumentError) << wrong;
    }
}

}  // namespace
}  // namespace orvix::simulator
