#include "station/run/symptoms.h"

#include <algorithm>

#include "station/model/bus_setup.h"

namespace orvix::station {
namespace {

// A failure now and then is no illness: a finding needs so many events, and such a share of the exchanges.
constexpr std::uint64_t kFewest = 3;
constexpr std::uint64_t kOneIn = 100;

// A device that refuses at least every second request is not the one that is asked for.
constexpr double kMostRefused = 0.5;

// An answer that takes such a share of the time-out is about to miss it.
constexpr double kLateShare = 0.8;
constexpr std::uint64_t kFewestTrips = 20;

// A period so much longer than the one asked for is not kept.
constexpr double kPeriodSlack = 1.25;
constexpr std::uint64_t kFewestPeriods = 5;

// With fewer good answers than this something is wrong with all of them.
constexpr double kHardlyAnyGood = 0.5;

// Noise around one address is so much of all noise.
constexpr double kOneSource = 0.8;

// An address may have at most this many times its share of what all have.
constexpr double kUneven = 3;

bool HasNeverAnswered(const AddressHealth& address) {
    const auto silent = address.Total.Count(Outcome::Silent);
    return silent >= kFewest && silent + address.Total.Count(Outcome::LineLost) == address.Total.Exchanges();
}

}  // namespace

bool IsNotable(std::uint64_t count, const Tally& of) {
    return count >= kFewest && count * kOneIn >= of.Exchanges();
}

std::uint64_t OwnFailures(const Tally& tally) {
    return tally.TimeOuts() + tally.Count(Outcome::Damaged) + tally.Count(Outcome::Checksum);
}

bool IsSilent(const AddressHealth& address, const BusHealth& bus) {
    return HasNeverAnswered(address) ||
           address.SilentInARow >= std::uint64_t{kFailuresUntilOffline} * static_cast<std::uint64_t>(bus.Attempts);
}

bool AreDamaged(const Tally& tally) {
    return IsNotable(tally.Damaged(), tally);
}

bool AreHardlyEverGood(const Tally& tally) {
    return AreDamaged(tally) && *tally.Success() < kHardlyAnyGood && tally.Damaged() > tally.Count(Outcome::Silent);
}

bool BearOtherAddress(const Tally& tally) {
    return IsNotable(tally.OtherAddress, tally) && tally.OtherAddress >= tally.Damaged();
}

bool AreDoubled(const Tally& tally) {
    return IsNotable(tally.Doubled, tally);
}

bool AreTooLate(const Tally& tally) {
    return IsNotable(tally.Late, tally) && 2 * tally.Late >= tally.Damaged();
}

bool HaveNoValue(const Tally& tally) {
    return tally.NoValues >= kFewest && tally.NoValues * kOneIn >= tally.Readings;
}

bool AreDoubtful(const Tally& tally) {
    return tally.DoubtfulReadings >= kFewest && tally.DoubtfulReadings * kOneIn >= tally.Readings;
}

bool OnEveryAddress(const BusHealth& bus, const std::function<bool(const Tally&)>& holds) {
    int answering = 0;
    for (const auto& address : bus.Addresses) {
        if (IsSilent(address, bus)) continue;
        if (!holds(address.Recent)) return false;
        ++answering;
    }
    return answering > 1;
}

Tally RecentOf(const BusHealth& bus) {
    return bus.Sum(&AddressHealth::Recent);
}

bool IsPortUnusable(const BusHealth& bus) {
    return bus.PortDown && !bus.PortDown->WasOpen;
}

bool IsPortGone(const BusHealth& bus) {
    return bus.PortDown && bus.PortDown->WasOpen;
}

bool IsPortUnsteady(const BusHealth& bus) {
    return bus.RecentPortFailures >= kFewest;
}

bool NoneAnswers(const BusHealth& bus) {
    const auto& all = bus.Addresses;
    return all.size() > 1 &&
           std::all_of(all.begin(), all.end(), [&](const AddressHealth& it) { return IsSilent(it, bus); });
}

bool IsIdleLineNoisy(const BusHealth& bus) {
    const auto sum = RecentOf(bus);
    return IsNotable(bus.Idle.Recent.Noises, sum) && 2 * sum.Noises >= sum.Damaged();
}

bool Echoes(const BusHealth& bus) {
    const auto recent = RecentOf(bus);
    return IsNotable(recent.Echoes, recent) && !IsIdleLineNoisy(bus);
}

bool IsNoisy(const BusHealth& bus) {
    const auto sum = RecentOf(bus);
    if (!IsNotable(sum.Noises, sum) || 2 * sum.Noises < sum.Damaged()) return false;
    const auto isOnlySource = [&](const AddressHealth& it) {
        return static_cast<double>(it.Recent.Noises) >= kOneSource * static_cast<double>(sum.Noises);
    };
    const auto& all = bus.Addresses;
    return all.size() == 1 || std::none_of(all.begin(), all.end(), isOnlySource);
}

bool AllTimeOut(const BusHealth& bus) {
    return OnEveryAddress(bus, [](const Tally& recent) { return IsNotable(recent.TimeOuts(), recent); });
}

bool AreAllDamaged(const BusHealth& bus) {
    if (OnEveryAddress(bus, AreDamaged)) return true;
    const auto sum = RecentOf(bus);
    const auto most = std::min(kOneSource, kUneven / static_cast<double>(bus.Addresses.size()));
    const auto isOneOfMany = [&](const Tally& recent) {
        return recent.Damaged() > 0 &&
               static_cast<double>(recent.Damaged()) <= most * static_cast<double>(sum.Damaged());
    };
    return AreDamaged(sum) && OnEveryAddress(bus, isOneOfMany);
}

bool AnswersLate(const Tally& recent, const BusHealth& bus) {
    const auto& trips = recent.RoundTrips;
    const std::chrono::duration<double> limit = bus.ReplyLimit;
    return trips.Count() >= kFewestTrips && trips.Quantile(0.9) >= kLateShare * limit;
}

bool AllAnswerLate(const BusHealth& bus) {
    return OnEveryAddress(bus, [&](const Tally& recent) { return AnswersLate(recent, bus); });
}

Duration LongestPeriod(const BusHealth& bus) {
    Duration longest{0};
    for (const auto& address : bus.Addresses) {
        if (!IsSilent(address, bus) && address.Recent.PeriodCount >= kFewestPeriods)
            longest = std::max(longest, *address.Recent.Period());
    }
    return longest;
}

bool IsTooSlow(const BusHealth& bus) {
    return LongestPeriod(bus) > kPeriodSlack * std::chrono::duration<double>(bus.Every);
}

bool RefusesMost(const AddressHealth& address, const BusHealth&) {
    const auto& recent = address.Recent;
    const auto refused = recent.Count(Outcome::Refused);
    return IsNotable(refused, recent) &&
           static_cast<double>(refused) >= kMostRefused * static_cast<double>(recent.Exchanges());
}

bool RefusesSome(const AddressHealth& address, const BusHealth&) {
    return IsNotable(address.Recent.Count(Outcome::Refused), address.Recent);
}

bool IsOnlyOneAndSilent(const AddressHealth& address, const BusHealth& bus) {
    return bus.Addresses.size() == 1 && !address.LastGood && IsSilent(address, bus);
}

bool StoppedAnswering(const AddressHealth& address, const BusHealth& bus) {
    return IsSilent(address, bus) && address.LastGood;
}

bool IsNoisyAround(const AddressHealth& address, const BusHealth&) {
    return IsNotable(address.Recent.Noises, address.Recent);
}

bool OftenFails(const AddressHealth& address, const BusHealth&) {
    return IsNotable(OwnFailures(address.Recent), address.Recent);
}

}  // namespace orvix::station
