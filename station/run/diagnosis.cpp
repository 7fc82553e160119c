#include "station/run/diagnosis.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>

#include "devices/protocol/bus_line.h"
#include "station/run/symptoms.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

// A time-out must leave room for more than the longest delay that has been seen.
constexpr double kRoom = 1.25;

/// What a finding is about, so that one of the bus can stand for those of its addresses.
enum Symptom : unsigned {
    kNone = 0,
    kSilence = 1,
    kDamage = 2,
    kTimeOut = 4,
    kNoise = 8,
    kLateness = 16,
    kTooLate = 32,
    kOtherAddress = 64,
    kDoubled = 128,
    kNoValue = 256,
    kDoubt = 512,
    kOther = 1024,
    kAll = 2047,
};

/// What stands in a sentence for each of its words in capitals, in their order.
using Words = std::vector<std::pair<std::string_view, std::string>>;

// Said besides whatever else a bus has: the station reads on behind an echo.
constexpr FindingText kEcho{"the converter echoes what it sends", "switch its echo off"};

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

std::string PercentOf(std::uint64_t count, const Tally& of) {
    return FixedText(100.0 * static_cast<double>(count) / static_cast<double>(of.Exchanges()), 0) + " %";
}

std::string DamageText(const Tally& tally) {
    return 2 * tally.Count(Outcome::Checksum) >= tally.Damaged() ? "checksum errors" : "damaged answers";
}

/// What holds of every address, as a rule of a bus; and of one, as a rule of an address.
template <bool Holds(const Tally&)>
bool Everywhere(const BusHealth& bus) {
    return OnEveryAddress(bus, Holds);
}

template <bool Holds(const Tally&)>
bool There(const AddressHealth& address, const BusHealth&) {
    return Holds(address.Recent);
}

/// The least per-character time factor with which the answers would have come in time.
std::string SufficientFactor(const Tally& tally) {
    const auto delay = tally.LongestDelay > Duration::zero() ? tally.LongestDelay : tally.LongestDelayAtMost;
    const auto needed = std::chrono::duration<double, std::milli>(delay).count();
    return std::to_string(static_cast<int>(std::ceil(kRoom * needed / kReplyTimeFactors)));
}

Words NoWords(const BusHealth&) {
    return {};
}

Words StrayWords(const BusHealth& bus) {
    return {{"COUNT", std::to_string(RecentOf(bus).StrayBytes)}};
}

Words TooLateWords(const Tally& recent, const BusHealth& bus) {
    return {{"TIME", RoughText(bus.ReplyLimit)}, {"FACTOR", SufficientFactor(recent)}};
}

Words LateWords(const Tally& recent, const BusHealth& bus) {
    return {{"P95", MillisecondsText(recent.RoundTrips.Quantile(0.95))},
            {"LIMIT", std::to_string(bus.ReplyLimit.count())}};
}

// The first that holds tells what a bus has.
constexpr BusRule kBusRules[] = {
    {{"the port cannot be used (REASON)", "its name, your rights (group dialout), or another program that uses it"},
     kAll,
     IsPortUnusable,
     [](const BusHealth& bus) -> Words {
         return {{"REASON", bus.PortDown->Reason}};
     }},
    {{"the port has been gone for TIME (REASON)", "plug the converter back in; the station continues by itself"},
     kAll,
     IsPortGone,
     [](const BusHealth& bus) -> Words {
         return {{"TIME", RoughText(bus.PortDown->Age)}, {"REASON", bus.PortDown->Reason}};
     }},
    {{"the port is unsteady, it failed COUNT times in the last minutes", "its plug, the hub, the converter's power"},
     kSilence | kDamage | kTimeOut | kNoise,
     IsPortUnsteady,
     [](const BusHealth& bus) -> Words {
         return {{"COUNT", std::to_string(bus.RecentPortFailures)}};
     }},
    {{"no device answers", "power of the bus, its two wires swapped, the speed, or the wrong port"},
     kAll,
     NoneAnswers,
     NoWords},
    {{"noise on the idle line (COUNT stray bytes recently)",
      "another master, termination, ground, or a cable beside power lines"},
     kNoise | kDamage | kTimeOut | kDoubled,
     IsIdleLineNoisy,
     StrayWords},
    {{"every address answers after the time-out of TIME", "--timeout-factor FACTOR would be enough"},
     kTooLate | kTimeOut | kDamage | kNoise | kLateness | kDoubled,
     Everywhere<AreTooLate>,
     [](const BusHealth& bus) { return TooLateWords(RecentOf(bus), bus); }},
    {{"every device answers with a wrong address", "a gateway or converter that changes what passes through it"},
     kOtherAddress | kDamage | kDoubled,
     Everywhere<BearOtherAddress>,
     NoWords},
    {{"the answers of all devices come twice", "a converter or repeater that sends twice, or a loop in the wiring"},
     kDoubled | kDamage | kNoise | kTimeOut,
     Everywhere<AreDoubled>,
     NoWords},
    {{"most answers from every address are damaged", "speed or wiring"},
     kDamage | kTimeOut | kNoise | kDoubled | kTooLate | kOtherAddress,
     Everywhere<AreHardlyEverGood>,
     NoWords},
    {{"noise: stray bytes between exchanges (COUNT recently)", "termination, ground, or a cable beside power lines"},
     kNoise | kDamage | kTimeOut,
     IsNoisy,
     StrayWords},
    {{"ERRORS on every address", "termination, ground or speed"},
     kDamage | kTimeOut | kNoise,
     AreAllDamaged,
     [](const BusHealth& bus) -> Words {
         return {{"ERRORS", DamageText(RecentOf(bus))}};
     }},
    {{"SHARE of the attempts time out, on every address", "cable or converter"},
     kTimeOut,
     AllTimeOut,
     [](const BusHealth& bus) -> Words {
         const auto recent = RecentOf(bus);
         return {{"SHARE", PercentOf(recent.TimeOuts(), recent)}};
     }},
    {{"every address answers late (p95 P95 ms of LIMIT ms)",
      "a slow converter or a busy computer; a larger --timeout-factor helps"},
     kLateness,
     AllAnswerLate,
     [](const BusHealth& bus) { return LateWords(RecentOf(bus), bus); }},
    {{"the devices answer, but not with values", "wrong model? nimbo1 scan shows it"},
     kNoValue,
     Everywhere<HaveNoValue>,
     NoWords},
    {{"devices are read every TIME, not every PERIOD as asked",
      "fewer devices, a longer period, or repair those that often fail"},
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

Words AddressWord(const AddressHealth& address, const BusHealth&) {
    return {{"N", std::to_string(address.Address)}};
}

// The first that holds tells what an address has.
constexpr AddressRule kAddressRules[] = {
    {{"address N refuses", "wrong model? nimbo1 scan shows it"}, kOther, RefusesMost, AddressWord},
    {{"address N refuses SHARE of the requests", "wrong model, or not ready"},
     kOther,
     RefusesSome,
     [](const AddressHealth& it, const BusHealth&) -> Words {
         return {{"N", std::to_string(it.Address)}, {"SHARE", PercentOf(it.Recent.Count(Outcome::Refused), it.Recent)}};
     }},
    {{"two devices share address N", "its answers come twice; give one of them another address"},
     kDoubled,
     There<AreDoubled>,
     AddressWord},
    {{"address N answers after the time-out of TIME", "--timeout-factor FACTOR would be enough, or a slow device"},
     kTooLate,
     There<AreTooLate>,
     [](const AddressHealth& it, const BusHealth& bus) {
         auto words = TooLateWords(it.Recent, bus);
         words.insert(words.begin(), {"N", std::to_string(it.Address)});
         return words;
     }},
    {{"address N answers with a wrong address", "the address that is set in the device, or a gateway before it"},
     kOtherAddress,
     There<BearOtherAddress>,
     AddressWord},
    {{"the only device, address N, never answers", "power, wiring, address, port or speed"},
     kSilence,
     IsOnlyOneAndSilent,
     AddressWord},
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
    {{"most answers from address N are damaged", "its cable or speed, or a second device with this address"},
     kDamage,
     There<AreHardlyEverGood>,
     AddressWord},
    {{"noise: stray bytes around the answers from address N", "its cable or ground"},
     kNoise,
     IsNoisyAround,
     AddressWord},
    {{"SHARE of the attempts to read address N end in ERRORS", "its cable, or a second device with this address"},
     kDamage,
     There<AreDamaged>,
     [](const AddressHealth& it, const BusHealth&) -> Words {
         return {{"SHARE", PercentOf(it.Recent.Damaged(), it.Recent)},
                 {"N", std::to_string(it.Address)},
                 {"ERRORS", DamageText(it.Recent)}};
     }},
    {{"SHARE of the attempts to read address N fail (time-outs)", "cable or device"},
     kTimeOut,
     OftenFails,
     [](const AddressHealth& it, const BusHealth&) -> Words {
         return {{"SHARE", PercentOf(OwnFailures(it.Recent), it.Recent)}, {"N", std::to_string(it.Address)}};
     }},
    {{"address N answers, but not with a value", "wrong model? nimbo1 scan shows it"},
     kNoValue,
     There<HaveNoValue>,
     AddressWord},
    {{"SHARE of the readings of address N are doubtful", "its cable, or a second device with this address"},
     kDoubt,
     There<AreDoubtful>,
     [](const AddressHealth& it, const BusHealth&) -> Words {
         const auto& recent = it.Recent;
         const auto share = static_cast<double>(recent.DoubtfulReadings) / static_cast<double>(recent.Readings);
         return {{"SHARE", FixedText(100 * share, 0) + " %"}, {"N", std::to_string(it.Address)}};
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
    texts.push_back(kEcho);
    for (const auto& rule : kBusRules)
        texts.push_back(rule.Text);
    for (const auto& rule : kAddressRules)
        texts.push_back(rule.Text);
    return texts;
}

std::vector<Finding> Diagnose(const BusHealth& bus) {
    if (bus.Told) return *bus.Told;
    std::vector<Finding> findings;
    const auto* ofBus = FirstThatHolds(kBusRules, bus);
    if (Echoes(bus)) findings.push_back({0, Filled(kEcho, {})});
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
