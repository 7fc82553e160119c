#include "station/library/silent_devices.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

using namespace std::chrono_literals;

namespace orvix::tests {
namespace {

using Poll = station::SilentDevices::Poll;

/// A bus that is read in rounds: devices in the plan every time, of the others the one that is to be asked.
struct Rounds {
    explicit Rounds(Duration every, std::vector<int> addresses = {1, 2, 3})
        : Every(every), Addresses(std::move(addresses)), Silent(every) {}

    /// Addresses asked in one round. Those of `Dead` do not answer.
    std::set<int> Next() {
        std::set<int> asked;
        if (Silent.Any()) Silent.NextToAsk(Now);
        for (const int address : Addresses) {
            if (Silent.IsLeftOut(address)) continue;
            asked.insert(address);
            Silent.Ended(address,
                         IsLineLost               ? Poll::Unknown
                         : Dead.contains(address) ? Poll::Unanswered
                                                  : Poll::Answered,
                         Now);
        }
        Now += Every;
        return asked;
    }
    /// In which of so many rounds an address was asked.
    std::vector<int> AskedIn(int address, int rounds) {
        std::vector<int> in;
        for (int round = 0; round < rounds; ++round)
            if (Next().contains(address)) in.push_back(round);
        return in;
    }

    Duration Every;
    std::vector<int> Addresses;
    station::SilentDevices Silent;
    Duration Now = 1h;
    std::set<int> Dead;
    bool IsLineLost = false;
};

TEST(SilentDevices, AreAskedAfterOneTwoFourAndEightPeriodsThenEveryTenSecondsOrPeriod) {
    const struct {
        Duration Every;
        std::vector<int> AskedIn;
    } cases[] = {
        {1s, {0, 1, 2, 3, 5, 9, 17, 27, 37}},
        {4s, {0, 1, 2, 3, 5, 8, 11, 14, 17, 20, 23, 26, 29, 32, 35, 38}},
        {20s, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
    };
    for (const auto& it : cases) {
        Rounds rounds(it.Every);
        rounds.Dead = {2};
        const int count = it.AskedIn.back() + 1;
        EXPECT_EQ(rounds.AskedIn(2, count), it.AskedIn) << it.Every.count();
        EXPECT_EQ(rounds.AskedIn(1, 20).size(), 20U);
    }
}

TEST(SilentDevices, TakeTurnsOneARound) {
    Rounds rounds(1s, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    rounds.Dead = {2, 3, 4, 5, 6, 7, 8, 9};
    for (int round = 0; round < 3; ++round)
        EXPECT_EQ(rounds.Next().size(), 9U);
    std::map<int, int> asked;
    for (int round = 0; round < 100; ++round) {
        const auto now = rounds.Next();
        EXPECT_TRUE(now.contains(1));
        EXPECT_LE(now.size(), 2U);
        for (const int address : now)
            ++asked[address];
    }
    for (const int address : rounds.Dead)
        EXPECT_NEAR(asked[address], 11, 2) << address;
}

TEST(SilentDevices, AreAllAskedSoonWhenOneOfThemAnswersAgain) {
    Rounds rounds(1s, {1, 2, 3, 4});
    rounds.Dead = {2, 3, 4};
    for (int round = 0; round < 200; ++round)
        rounds.Next();
    rounds.Dead = {};
    while (!rounds.Next().contains(3)) {
    }
    rounds.Next();
    rounds.Next();
    EXPECT_FALSE(rounds.Silent.Any());
    EXPECT_EQ(rounds.Next().size(), 4U);
}

TEST(SilentDevices, AreNotThoseOfALostLine) {
    Rounds rounds(1s);
    rounds.IsLineLost = true;
    EXPECT_EQ(rounds.AskedIn(2, 20).size(), 20U);

    rounds.IsLineLost = false;
    rounds.Dead = {2};
    EXPECT_EQ(rounds.AskedIn(2, 20).size(), 7U);
    rounds.IsLineLost = true;
    EXPECT_EQ(rounds.AskedIn(1, 20).size(), 20U);
    // The line is back, and so is the device: nothing that was asked in vain meanwhile counts against it.
    rounds.IsLineLost = false;
    rounds.Dead = {};
    rounds.Next();
    EXPECT_FALSE(rounds.Silent.Any());
}

}  // namespace
}  // namespace orvix::tests
