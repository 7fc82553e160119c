#include <gtest/gtest.h>

#include "tests/station/faulty_line.h"

namespace orvix::tests {
namespace {

using namespace std::chrono_literals;
using namespace station;

TEST(Health, CountsEachKindOfEndAndTheLoad) {
    FaultyLine line;
    line.Poll(60, [](const std::string& reply, int n) {
        const Answers answers[] = {{}, {{2ms, Damaged(reply, 7)}}, {{2ms, Damaged(reply, 0)}}, {{30ms, reply}}};
        return answers[n % 4];
    });
    const auto health = line.Health();
    const auto& ill = health.Addresses[FaultyLine::kIll - FaultyLine::kFirst];
    EXPECT_EQ(ill.Total.TimeOuts(), 60U);
    EXPECT_EQ(ill.Total.Count(Outcome::Checksum), 60U);
    EXPECT_EQ(ill.Total.BadFrames(), 60U);
    EXPECT_EQ(ill.Total.Count(Outcome::Good), 60U);
    EXPECT_EQ(ill.Total.Retries, 180U);
    EXPECT_EQ(ill.Total.Period(), 1s);
    EXPECT_EQ(ill.Recent.RoundTrips.Max(), 30ms);
    EXPECT_EQ(ill.Recent.RoundTrips.Quantile(0.5), 30ms);
    // A second has 8 requests of 9 bytes and 7 answers of 13, a byte takes 10 of 9600 bits.
    EXPECT_NEAR(health.LoadLastMinute, (8 * 9 + 7 * 13) / 960.0, 0.01);
}

TEST(Health, ADeviceInPlaceOfAnotherBeginsAnew) {
    FaultyLine line;
    line.Poll(5, [](const std::string&, int) { return Answers{}; });
    line.Replace(FaultyLine::kIll);
    line.Poll(2, FaultyLine::Well);
    const auto health = line.Health();
    for (const auto& address : health.Addresses)
        EXPECT_EQ(address.Total.Exchanges(), address.Address == FaultyLine::kIll ? 2U : 7U) << address.Address;
}

}  // namespace
}  // namespace orvix::tests
