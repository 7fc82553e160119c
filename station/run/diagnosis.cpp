#include "station/run/diagnosis.h"

#include <algorithm>

#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

// A failure now and then is no illness: a finding needs so many events, and such a share of the exchanges.
constexpr std::uint64_t kFewest = 3;
constexpr std::uint64_t kOneIn = 100;

// Polls in a row without an answer, after which a device has stopped answering.
constexpr std::uint64_t kSilentPolls = 3;

// A device that refuses at least every second request is not the one that is asked for.
constexpr double kMostRefused = 0.5;

// An answer that takes such a share of the time-out is about to miss it.
constexpr double kLateShare = 0.8;
constexpr std::uint64_t kFewestTrips = 20;

// A period so much longer than the one asked for is not kept.
constexpr double kPeriodSlack = 1.25;
constexpr std::uint64_t kFewestPeriods = 5;

// Noise around one address is so much of all noise.
constexpr double kOneSource = 0.8;

/// What a finding is about, so that one of the bus can stand for those of its addresses.
enum Symptom : unsigned {
    kNone = 0,
    kSilence = 1,
    kDamage = 2,
    kTimeOut = 4,
    kNoise = 8,
    kLateness = 16,
    kOther = 32,
    kAll = 63,
};

/// What a rule looks at.
struct Case {
    const BusHealth& Bus;
    const AddressHealth& Address;  ///< of a rule about an address
    bool OthersAreFine = false;    ///< no other address has a finding, nor has the bus
};

enum class Scope { Bus, Address };

struct Rule {
    Scope Of;
    Symptom About;      ///< of a rule about an address
    unsigned Explains;  ///< of a rule about the bus: the symptoms of addresses that follow from it
    bool (*Holds)(const Case&);
    std::string (*Says)(const Case&);
};

bool IsNotable(std::uint64_t count, const Tally& of) {
    return count >= kFewest && count * kOneIn >= of.Exchanges();
}

std::string PercentOf(std::uint64_t count, const Tally& of) {
    return FixedText(100.0 * static_cast<double>(count) / static_cast<double>(of.Exchanges()), 0) + " %";
}

std::string Named(const AddressHealth& address) {
    return "address " + std::to_string(address.Address);
}

std::uint64_t OwnFailures(const Tally& tally) {
    return tally.TimeOuts() + tally.Count(Outcome::Damaged) + tally.Count(Outcome::Checksum);
}

bool HasNeverAnswered(const AddressHealth& address) {
    const auto silent = address.Total.Count(Outcome::Silent);
    return silent >= kFewest && silent + address.Total.Count(Outcome::LineLost) == address.Total.Exchanges();
}

bool IsSilent(const AddressHealth& address, const BusHealth& bus) {
    return HasNeverAnswered(address) || address.SilentInARow >= kSilentPolls * static_cast<std::uint64_t>(bus.Attempts);
}

std::string DamageText(const Tally& tally) {
    return 2 * tally.Count(Outcome::Checksum) >= tally.Damaged() ? "checksum errors" : "damaged answers";
}

/// Whether something holds of all addresses of a bus that answer, which must be several.
template <class Predicate>
bool OnEveryAddress(const BusHealth& bus, Predicate holds) {
    int answering = 0;
    for (const auto& address : bus.Addresses) {
        if (IsSilent(address, bus)) continue;
        if (!holds(address.Recent)) return false;
        ++answering;
    }
    return answering > 1;
}

bool NoneAnswers(const Case& c) {
    const auto& all = c.Bus.Addresses;
    return all.size() > 1 &&
           std::all_of(all.begin(), all.end(), [&](const AddressHealth& it) { return IsSilent(it, c.Bus); });
}

bool IsNoisy(const Case& c) {
    const auto sum = c.Bus.Sum(&AddressHealth::Recent);
    if (!IsNotable(sum.Noises, sum)) return false;
    const auto isOnlySource = [&](const AddressHealth& it) {
        return static_cast<double>(it.Recent.Noises) >= kOneSource * static_cast<double>(sum.Noises);
    };
    const auto& all = c.Bus.Addresses;
    return all.size() == 1 || std::none_of(all.begin(), all.end(), isOnlySource);
}

/// The period of the address that is read least often; zero while that cannot be told.
Duration LongestPeriod(const BusHealth& bus) {
    Duration longest{0};
    for (const auto& address : bus.Addresses) {
        if (address.Recent.PeriodCount >= kFewestPeriods) longest = std::max(longest, *address.Recent.Period());
    }
    return longest;
}

bool AnswersTooLate(const Case& c) {
    return IsNotable(c.Address.Recent.Late, c.Address.Recent);
}

/// Whether at least one answer of ten, of which there must be some, nearly misses the time-out.
bool AnswersLate(const BusHealth& bus, const Tally& recent) {
    const auto& trips = recent.RoundTrips;
    const std::chrono::duration<double> limit = bus.ReplyLimit;
    return trips.Count() >= kFewestTrips && trips.Quantile(0.9) >= kLateShare * limit;
}

std::string LateText(const BusHealth& bus, const Tally& recent) {
    return "late (p95 " + MillisecondsText(recent.RoundTrips.Quantile(0.95)) + " ms of " +
           std::to_string(bus.ReplyLimit.count()) + " ms)";
}

std::string RefusalText(const Case& c) {
    const auto& recent = c.Address.Recent;
    const auto refused = recent.Count(Outcome::Refused);
    if (static_cast<double>(refused) >= kMostRefused * static_cast<double>(recent.Exchanges())) {
        return Named(c.Address) + " refuses: wrong model?";
    }
    return Named(c.Address) + " refuses " + PercentOf(refused, recent) + " of the requests: wrong model, or not ready";
}

std::string SilenceText(const Case& c) {
    const auto& address = c.Address;
    if (address.LastGood) {
        return Named(address) + " stopped answering " + RoughText(*address.LastGood) + " ago: power, wiring or device";
    }
    return Named(address) + " never answers: power, wiring or address" +
           (c.OthersAreFine ? "; the others are fine" : "");
}

// The first rule of a bus that holds tells what it has, and the first of an address what that has.
constexpr Rule kRules[] = {
    {Scope::Bus, kNone, kAll, [](const Case& c) { return c.Bus.PortDown.has_value(); },
     [](const Case& c) -> std::string {
         const auto& down = *c.Bus.PortDown;
         if (!down.WasOpen) return "the port cannot be used (" + down.Reason + "): its name, rights, other programs";
         return "the port is gone since " + RoughText(down.Age) + " (" + down.Reason +
                "): plug the converter in again, the station goes on by itself";
     }},
    {Scope::Bus, kNone, kAll,
     [](const Case& c) {
         const auto sum = c.Bus.Sum(&AddressHealth::Recent);
         return IsNotable(sum.Echoes, sum);
     },
     [](const Case&) -> std::string { return "every request comes back: switch the converter's local echo off"; }},
    {Scope::Bus, kNone, kAll, NoneAnswers,
     [](const Case&) -> std::string {
         return "no device answers: power of the bus, its two wires exchanged, speed, or the wrong port";
     }},
    {Scope::Bus, kNone, kNoise | kDamage | kTimeOut, IsNoisy,
     [](const Case& c) {
         return "noise: stray bytes between exchanges (" +
                std::to_string(c.Bus.Sum(&AddressHealth::Recent).StrayBytes) +
                " of late): termination, ground, or a cable beside power lines";
     }},
    {Scope::Bus, kNone, kDamage | kTimeOut,
     [](const Case& c) {
         return OnEveryAddress(c.Bus, [](const Tally& recent) { return IsNotable(recent.Damaged(), recent); });
     },
     [](const Case& c) {
         return DamageText(c.Bus.Sum(&AddressHealth::Recent)) + " on every address: termination, ground or speed";
     }},
    {Scope::Bus, kNone, kTimeOut,
     [](const Case& c) {
         return OnEveryAddress(c.Bus, [](const Tally& recent) { return IsNotable(recent.TimeOuts(), recent); });
     },
     [](const Case& c) {
         const auto sum = c.Bus.Sum(&AddressHealth::Recent);
         return PercentOf(sum.TimeOuts(), sum) + " of the exchanges time out, on every address: cable or converter";
     }},
    {Scope::Bus, kNone, kLateness,
     [](const Case& c) {
         return OnEveryAddress(c.Bus, [&](const Tally& recent) { return AnswersLate(c.Bus, recent); });
     },
     [](const Case& c) {
         return "every address answers " + LateText(c.Bus, c.Bus.Sum(&AddressHealth::Recent)) +
                ": a slow converter or a busy computer; a larger --timeout-factor helps";
     }},
    {Scope::Bus, kNone, kNone,
     [](const Case& c) { return LongestPeriod(c.Bus) > kPeriodSlack * std::chrono::duration<double>(c.Bus.Every); },
     [](const Case& c) {
         return "devices are read every " + RoughText(LongestPeriod(c.Bus)) + ", not every " + RoughText(c.Bus.Every) +
                " as asked: fewer devices, a longer period, or mend those that do not answer";
     }},
    {Scope::Bus, kNone, kNone, [](const Case& c) { return !c.Bus.Trouble.empty(); },
     [](const Case& c) { return "the bus is in trouble: " + c.Bus.Trouble; }},
    {Scope::Bus, kNone, kNone, [](const Case& c) { return c.Bus.Sum(&AddressHealth::Total).Exchanges() == 0; },
     [](const Case&) -> std::string { return "nothing has been asked yet"; }},
    {Scope::Address, kOther, kNone,
     [](const Case& c) { return IsNotable(c.Address.Recent.Count(Outcome::Refused), c.Address.Recent); }, RefusalText},
    {Scope::Address, kOther, kNone, [](const Case& c) { return IsNotable(c.Address.Recent.Doubled, c.Address.Recent); },
     [](const Case& c) {
         return "two devices share " + Named(c.Address) + ": its answers come twice; give one another address";
     }},
    {Scope::Address, kOther, kNone, AnswersTooLate,
     [](const Case& c) {
         return Named(c.Address) + " answers after the time-out of " + RoughText(c.Bus.ReplyLimit) + " (" +
                PercentOf(c.Address.Recent.Late, c.Address.Recent) +
                " of the exchanges): a larger --timeout-factor, or a slow device";
     }},
    {Scope::Address, kSilence, kNone, [](const Case& c) { return IsSilent(c.Address, c.Bus); }, SilenceText},
    {Scope::Address, kNoise, kNone, [](const Case& c) { return IsNotable(c.Address.Recent.Noises, c.Address.Recent); },
     [](const Case& c) {
         return "noise: stray bytes around the answers of " + Named(c.Address) + ": its cable or ground";
     }},
    {Scope::Address, kDamage, kNone,
     [](const Case& c) { return IsNotable(c.Address.Recent.Damaged(), c.Address.Recent); },
     [](const Case& c) {
         const auto& recent = c.Address.Recent;
         return PercentOf(recent.Damaged(), recent) + " of the exchanges with " + Named(c.Address) + " bring " +
                DamageText(recent) + ": its cable, or a second device with this address";
     }},
    {Scope::Address, kTimeOut, kNone,
     [](const Case& c) { return IsNotable(OwnFailures(c.Address.Recent), c.Address.Recent); },
     [](const Case& c) {
         const auto& recent = c.Address.Recent;
         return PercentOf(OwnFailures(recent), recent) + " of the exchanges with " + Named(c.Address) +
                " fail (time-outs): cable or device";
     }},
    {Scope::Address, kLateness, kNone, [](const Case& c) { return AnswersLate(c.Bus, c.Address.Recent); },
     [](const Case& c) { return Named(c.Address) + " answers " + LateText(c.Bus, c.Address.Recent); }},
};

const Rule* FirstThatHolds(Scope scope, const Case& c) {
    const auto* found = std::find_if(std::begin(kRules), std::end(kRules),
                                     [&](const Rule& rule) { return rule.Of == scope && rule.Holds(c); });
    return found == std::end(kRules) ? nullptr : found;
}

}  // namespace

std::vector<Finding> Diagnose(const BusHealth& bus) {
    const AddressHealth none;
    std::vector<Finding> findings;
    const Rule* ofBus = FirstThatHolds(Scope::Bus, {bus, none});
    if (ofBus != nullptr) findings.push_back({0, ofBus->Says({bus, none})});

    const unsigned explained = ofBus == nullptr ? kNone : ofBus->Explains;
    std::vector<std::pair<const AddressHealth*, const Rule*>> ill;
    for (const auto& address : bus.Addresses) {
        const Rule* rule = FirstThatHolds(Scope::Address, {bus, address});
        if (rule != nullptr && (rule->About & explained) == 0) ill.emplace_back(&address, rule);
    }
    const bool othersAreFine = ofBus == nullptr && ill.size() == 1 && bus.Addresses.size() > 1;
    for (const auto& [address, rule] : ill)
        findings.push_back({address->Address, rule->Says({bus, *address, othersAreFine})});
    return findings;
}

}  // namespace orvix::station
