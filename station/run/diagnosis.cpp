#include "station/run/diagnosis.h"

#include <algorithm>
#include <string_view>
#include <utility>

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

/// What stands in a sentence for each of its words in capitals, in their order.
using Words = std::vector<std::pair<std::string_view, std::string>>;

struct BusRule {
    FindingText Text;
    unsigned Explains;  ///< the symptoms of addresses that follow from it
    bool (*Holds)(const BusHealth&);
    Words (*WordsOf)(const BusHealth&);
};

struct AddressRule {
    FindingText Text;
    Symptom About;
    bool (*Holds)(const AddressHealth&, const BusHealth&);
    Words (*WordsOf)(const AddressHealth&, const BusHealth&);
};

bool IsNotable(std::uint64_t count, const Tally& of) {
    return count >= kFewest && count * kOneIn >= of.Exchanges();
}

std::string PercentOf(std::uint64_t count, const Tally& of) {
    return FixedText(100.0 * static_cast<double>(count) / static_cast<double>(of.Exchanges()), 0) + " %";
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

// What buses have.

Tally Recent(const BusHealth& bus) {
    return bus.Sum(&AddressHealth::Recent);
}

bool IsPortUnusable(const BusHealth& bus) {
    return bus.PortDown && !bus.PortDown->WasOpen;
}

bool IsPortGone(const BusHealth& bus) {
    return bus.PortDown && bus.PortDown->WasOpen;
}

bool Echoes(const BusHealth& bus) {
    const auto recent = Recent(bus);
    return IsNotable(recent.Echoes, recent);
}

bool NoneAnswers(const BusHealth& bus) {
    const auto& all = bus.Addresses;
    return all.size() > 1 &&
           std::all_of(all.begin(), all.end(), [&](const AddressHealth& it) { return IsSilent(it, bus); });
}

bool IsNoisy(const BusHealth& bus) {
    const auto sum = Recent(bus);
    if (!IsNotable(sum.Noises, sum)) return false;
    const auto isOnlySource = [&](const AddressHealth& it) {
        return static_cast<double>(it.Recent.Noises) >= kOneSource * static_cast<double>(sum.Noises);
    };
    const auto& all = bus.Addresses;
    return all.size() == 1 || std::none_of(all.begin(), all.end(), isOnlySource);
}

bool AllAreDamaged(const BusHealth& bus) {
    return OnEveryAddress(bus, [](const Tally& recent) { return IsNotable(recent.Damaged(), recent); });
}

bool AllTimeOut(const BusHealth& bus) {
    return OnEveryAddress(bus, [](const Tally& recent) { return IsNotable(recent.TimeOuts(), recent); });
}

/// Whether at least one answer of ten, of which there must be some, nearly misses the time-out.
bool AnswersLate(const Tally& recent, const BusHealth& bus) {
    const auto& trips = recent.RoundTrips;
    const std::chrono::duration<double> limit = bus.ReplyLimit;
    return trips.Count() >= kFewestTrips && trips.Quantile(0.9) >= kLateShare * limit;
}

bool AllAnswerLate(const BusHealth& bus) {
    return OnEveryAddress(bus, [&](const Tally& recent) { return AnswersLate(recent, bus); });
}

/// The period of the address that is read least often, of those that answer; zero while that cannot be told.
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

Words NoWords(const BusHealth&) {
    return {};
}

Words LateWords(const Tally& recent, const BusHealth& bus) {
    return {{"P95", MillisecondsText(recent.RoundTrips.Quantile(0.95))},
            {"LIMIT", std::to_string(bus.ReplyLimit.count())}};
}

// The first that holds tells what a bus has.
constexpr BusRule kBusRules[] = {
    {{"the port cannot be used (REASON)", "its name, your rights (group dialout), another program that has it"},
     kAll,
     IsPortUnusable,
     [](const BusHealth& bus) -> Words {
         return {{"REASON", bus.PortDown->Reason}};
     }},
    {{"the port is gone since TIME (REASON)", "plug the converter in again, the station goes on by itself"},
     kAll,
     IsPortGone,
     [](const BusHealth& bus) -> Words {
         return {{"TIME", RoughText(bus.PortDown->Age)}, {"REASON", bus.PortDown->Reason}};
     }},
    {{"every request comes back", "switch the converter's local echo off"}, kAll, Echoes, NoWords},
    {{"no device answers", "power of the bus, its two wires exchanged, speed, or the wrong port"},
     kAll,
     NoneAnswers,
     NoWords},
    {{"noise: stray bytes between exchanges (COUNT of late)", "termination, ground, or a cable beside power lines"},
     kNoise | kDamage | kTimeOut,
     IsNoisy,
     [](const BusHealth& bus) -> Words {
         return {{"COUNT", std::to_string(Recent(bus).StrayBytes)}};
     }},
    {{"ERRORS on every address", "termination, ground or speed"},
     kDamage | kTimeOut,
     AllAreDamaged,
     [](const BusHealth& bus) -> Words {
         return {{"ERRORS", DamageText(Recent(bus))}};
     }},
    {{"SHARE of the exchanges time out, on every address", "cable or converter"},
     kTimeOut,
     AllTimeOut,
     [](const BusHealth& bus) -> Words {
         const auto recent = Recent(bus);
         return {{"SHARE", PercentOf(recent.TimeOuts(), recent)}};
     }},
    {{"every address answers late (p95 P95 ms of LIMIT ms)",
      "a slow converter or a busy computer; a larger --timeout-factor helps"},
     kLateness,
     AllAnswerLate,
     [](const BusHealth& bus) { return LateWords(Recent(bus), bus); }},
    {{"devices are read every TIME, not every PERIOD as asked",
      "fewer devices, a longer period, or mend those that often fail"},
     kNone,
     IsTooSlow,
     [](const BusHealth& bus) -> Words {
         return {{"TIME", RoughText(LongestPeriod(bus))}, {"PERIOD", RoughText(bus.Every)}};
     }},
    {{"the bus is in trouble", "REASON"},
     kNone,
     [](const BusHealth& bus) { return !bus.Trouble.empty(); },
     [](const BusHealth& bus) -> Words {
         return {{"REASON", bus.Trouble}};
     }},
    {{"nothing has been asked yet", "wait for the first period"},
     kNone,
     [](const BusHealth& bus) { return bus.Sum(&AddressHealth::Total).Exchanges() == 0; },
     NoWords},
};

// What addresses have.

/// Whether a device refuses so much that it is not the one that is asked for.
bool RefusesMost(const AddressHealth& address, const BusHealth&) {
    const auto& recent = address.Recent;
    const auto refused = recent.Count(Outcome::Refused);
    return IsNotable(refused, recent) &&
           static_cast<double>(refused) >= kMostRefused * static_cast<double>(recent.Exchanges());
}

bool RefusesSome(const AddressHealth& address, const BusHealth&) {
    return IsNotable(address.Recent.Count(Outcome::Refused), address.Recent);
}

bool IsShared(const AddressHealth& address, const BusHealth&) {
    return IsNotable(address.Recent.Doubled, address.Recent);
}

bool AnswersTooLate(const AddressHealth& address, const BusHealth&) {
    return IsNotable(address.Recent.Late, address.Recent);
}

bool StoppedAnswering(const AddressHealth& address, const BusHealth& bus) {
    return IsSilent(address, bus) && address.LastGood;
}

bool IsNoisyAround(const AddressHealth& address, const BusHealth&) {
    return IsNotable(address.Recent.Noises, address.Recent);
}

bool IsDamaged(const AddressHealth& address, const BusHealth&) {
    return IsNotable(address.Recent.Damaged(), address.Recent);
}

bool OftenFails(const AddressHealth& address, const BusHealth&) {
    return IsNotable(OwnFailures(address.Recent), address.Recent);
}

Words AddressWord(const AddressHealth& address, const BusHealth&) {
    return {{"N", std::to_string(address.Address)}};
}

// The first that holds tells what an address has.
constexpr AddressRule kAddressRules[] = {
    {{"address N refuses", "wrong model? nimbo1 scan tells it"}, kOther, RefusesMost, AddressWord},
    {{"address N refuses SHARE of the requests", "wrong model, or not ready"},
     kOther,
     RefusesSome,
     [](const AddressHealth& it, const BusHealth&) -> Words {
         return {{"N", std::to_string(it.Address)}, {"SHARE", PercentOf(it.Recent.Count(Outcome::Refused), it.Recent)}};
     }},
    {{"two devices share address N", "its answers come twice; give one another address"},
     kOther,
     IsShared,
     AddressWord},
    {{"address N answers after the time-out of TIME (SHARE of the exchanges)",
      "a larger --timeout-factor, or a slow device"},
     kOther,
     AnswersTooLate,
     [](const AddressHealth& it, const BusHealth& bus) -> Words {
         return {{"N", std::to_string(it.Address)},
                 {"TIME", RoughText(bus.ReplyLimit)},
                 {"SHARE", PercentOf(it.Recent.Late, it.Recent)}};
     }},
    {{"address N stopped answering TIME ago", "power, wiring or device; asked less often until it answers"},
     kSilence,
     StoppedAnswering,
     [](const AddressHealth& it, const BusHealth&) -> Words {
         return {{"N", std::to_string(it.Address)}, {"TIME", RoughText(*it.LastGood)}};
     }},
    {{"address N never answers", "power, wiring or address; asked less often until it answers"},
     kSilence,
     IsSilent,
     AddressWord},
    {{"noise: stray bytes around the answers of address N", "its cable or ground"}, kNoise, IsNoisyAround, AddressWord},
    {{"SHARE of the exchanges with address N bring ERRORS", "its cable, or a second device with this address"},
     kDamage,
     IsDamaged,
     [](const AddressHealth& it, const BusHealth&) -> Words {
         return {{"SHARE", PercentOf(it.Recent.Damaged(), it.Recent)},
                 {"N", std::to_string(it.Address)},
                 {"ERRORS", DamageText(it.Recent)}};
     }},
    {{"SHARE of the exchanges with address N fail (time-outs)", "cable or device"},
     kTimeOut,
     OftenFails,
     [](const AddressHealth& it, const BusHealth&) -> Words {
         return {{"SHARE", PercentOf(OwnFailures(it.Recent), it.Recent)}, {"N", std::to_string(it.Address)}};
     }},
    {{"address N answers late (p95 P95 ms of LIMIT ms)", "a larger --timeout-factor, before answers miss the time-out"},
     kLateness,
     [](const AddressHealth& it, const BusHealth& bus) { return AnswersLate(it.Recent, bus); },
     [](const AddressHealth& it, const BusHealth& bus) {
         auto words = LateWords(it.Recent, bus);
         words.insert(words.begin(), {"N", std::to_string(it.Address)});
         return words;
     }},
};

/// The first of a table's rules that holds; null when none does.
template <class Rule, std::size_t Count, class... Case>
const Rule* FirstThatHolds(const Rule (&rules)[Count], const Case&... of) {
    const auto* found =
        std::find_if(std::begin(rules), std::end(rules), [&](const Rule& it) { return it.Holds(of...); });
    return found == std::end(rules) ? nullptr : found;
}

std::string Filled(const FindingText& text, const Words& words) {
    const auto whole = std::string(text.Sentence) + ": " + text.Cure;
    std::string filled;
    std::size_t done = 0;
    for (const auto& [word, value] : words) {
        const auto at = whole.find(word, done);
        filled.append(whole, done, at - done).append(value);
        done = at + word.size();
    }
    return filled.append(whole, done);
}

}  // namespace

std::vector<FindingText> AllFindingTexts() {
    std::vector<FindingText> texts;
    for (const auto& rule : kBusRules)
        texts.push_back(rule.Text);
    for (const auto& rule : kAddressRules)
        texts.push_back(rule.Text);
    return texts;
}

std::vector<Finding> Diagnose(const BusHealth& bus) {
    std::vector<Finding> findings;
    const auto* ofBus = FirstThatHolds(kBusRules, bus);
    if (ofBus != nullptr) findings.push_back({0, Filled(ofBus->Text, ofBus->WordsOf(bus))});

    const unsigned explained = ofBus == nullptr ? kNone : ofBus->Explains;
    bool neverAnswers = false;
    for (const auto& address : bus.Addresses) {
        const auto* rule = FirstThatHolds(kAddressRules, address, bus);
        if (rule == nullptr || (rule->About & explained) != 0) continue;
        findings.push_back({address.Address, Filled(rule->Text, rule->WordsOf(address, bus))});
        neverAnswers = rule->About == kSilence && !address.LastGood;
    }
    if (neverAnswers && findings.size() == 1 && bus.Addresses.size() > 1)
        findings.back().Sentence += "; the others are fine";
    return findings;
}

}  // namespace orvix::station
