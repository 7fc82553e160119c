#include <gtest/gtest.h>

#include <map>

#include "devices/protocol/frame.h"
#include "simulator/device_arguments.h"
#include "simulator/simulated_bus.h"

namespace orvix::simulator {
namespace {

using namespace std::chrono_literals;

constexpr int kRequests = 1000;

SimulatedBus BusWith(const std::string& fault, std::uint64_t seed = 1) {
    return SimulatedBus({ParseSimulatedDevice("5:sensor=21.5"), ParseSimulatedDevice("6:sensor=21.5")},
                        FaultPlan({ParseFault(fault)}, seed));
}

BusAnswer Ask(SimulatedBus& bus, int address) {
    auto answers = bus.Receive(BuildFrame(address, std::string("\x0B\x00", 2), ""), 1s);
    return answers.size() == 1 ? answers[0] : BusAnswer{"no single answer"};
}

// What the driver makes of an answer; a frame that does not come whole is waited for until the time-out.
ErrorNumber OutcomeOf(const BusAnswer& answer, int address) {
    const auto length = FrameLength(answer.Bytes);
    if (!length || answer.Bytes.size() < *length) return errors::TimeOut;
    return CheckReply(answer.Bytes, address).error;
}

TEST(Faults, HitTheirAddressWithTheirErrorAndNobodyElse) {
    const struct {
        const char* Fault;
        ErrorNumber Outcome;
        std::chrono::milliseconds Delay;
    } cases[] = {
        {"drop@5", errors::TimeOut, 0ms},        {"cut@5", errors::TimeOut, 0ms},
        {"corrupt@5", errors::Checksum, 0ms},    {"refuse@5", errors::Refused, 0ms},
        {"delay@5:by=80ms", errors::None, 80ms},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Fault);
        auto bus = BusWith(c.Fault);
        for (int request = 0; request < kRequests; ++request) {
            const auto answer = Ask(bus, 5);
            ASSERT_EQ(OutcomeOf(answer, 5), c.Outcome);
            ASSERT_EQ(answer.Delay, c.Delay);
            ASSERT_EQ(OutcomeOf(Ask(bus, 6), 6), errors::None);
        }
    }
}

TEST(Faults, NoiseAndADuplicateSpoilAnswersInSeveralWays) {
    for (const auto* fault : {"noise", "duplicate"}) {
        SCOPED_TRACE(fault);
        auto bus = BusWith(fault);
        const auto good = BuildFrame(5, std::string("\x0B\x00", 2), std::string("\x83\x2C\x00\x00", 4));
        std::map<ErrorNumber, int> outcomes;
        for (int request = 0; request < kRequests; ++request) {
            const auto answer = Ask(bus, 5);
            ASSERT_NE(answer.Bytes, good);
            ++outcomes[OutcomeOf(answer, 5)];
        }
        EXPECT_GT(outcomes[errors::BadFrame] + outcomes[errors::TimeOut] + outcomes[errors::Checksum], kRequests / 4);
    }
}

TEST(Faults, ComeAtTheirRateOrOnceAndTheSameForASeed) {
    const auto hits = [](const char* fault, std::uint64_t seed) {
        auto bus = BusWith(fault, seed);
        std::vector<int> numbers;
        for (int request = 1; request <= kRequests; ++request) {
            if (Ask(bus, 5).Bytes.empty()) numbers.push_back(request);
        }
        return numbers;
    };
    EXPECT_EQ(hits("drop:nth=3", 1), std::vector{3});
    EXPECT_NEAR(static_cast<double>(hits("drop:rate=10%", 1).size()), 100, 40);
    EXPECT_EQ(hits("drop:rate=0.1", 7), hits("drop@5:rate=10%", 7));
    EXPECT_NE(hits("drop:rate=0.1", 7), hits("drop:rate=0.1", 8));
}

TEST(Faults, WrongTextsAreRefusedWithTheReason) {
    const struct {
        const char* Fault;
        const char* Says;
    } cases[] = {
        {"", "drop, delay"},
        {"dorp", "drop, delay"},
        {"drop@", "address"},
        {"drop@256", "1 to 255"},
        {"drop:", "rate=, nth="},
        {"drop:rate", "rate=, nth="},
        {"drop:by=80ms", "rate=, nth="},
        {"drop:rate=0", "not a rate"},
        {"drop:rate=101%", "not a rate"},
        {"drop:rate=%", "not a rate"},
        {"drop:nth=1.5", "whole number"},
        {"drop:nth=2:rate=0.5", "not both"},
        {"delay", "by=80ms"},
        {"delay:by=80", "not a time"},
        {"unplug@5", "whole bus"},
        {"unplug:for=5s:every=5s", "longer"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Fault);
        try {
            ParseFault(c.Fault);
            ADD_FAILURE() << "accepted";
        } catch (const ArgumentError& error) {
            EXPECT_NE(std::string(error.what()).find(c.Says), std::string::npos) << error.what();
        }
    }
}

}  // namespace
}  // namespace orvix::simulator
