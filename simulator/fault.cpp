#include "simulator/fault.h"

#include <algorithm>
#include <cmath>

#include "simulator/device_arguments.h"

namespace orvix::simulator {
namespace {

enum class Hits { Requests, RequestsLater, Port };

struct KindName {
    const char* Name;
    FaultKind Kind;
    Hits What;
};

constexpr KindName kKinds[] = {
    {"drop", FaultKind::Drop, Hits::Requests},           {"delay", FaultKind::Delay, Hits::RequestsLater},
    {"corrupt", FaultKind::Corrupt, Hits::Requests},     {"cut", FaultKind::Cut, Hits::Requests},
    {"refuse", FaultKind::Refuse, Hits::Requests},       {"noise", FaultKind::Noise, Hits::Requests},
    {"duplicate", FaultKind::Duplicate, Hits::Requests}, {"unplug", FaultKind::Unplug, Hits::Port}};

double ParseRate(const std::string& text) {
    const bool isPercentage = text.ends_with('%');
    const auto number = isPercentage ? text.substr(0, text.size() - 1) : text;
    const double rate = ParseReal(number, "rate") / (isPercentage ? 100 : 1);
    if (!(rate > 0 && rate <= 1))
        throw ArgumentError("'" + text + "' is not a rate: write 0.1 or 10%, up to 1 or 100%");
    return rate;
}

int ParseWhole(const std::string& text, const char* what, int largest) {
    const double number = ParseReal(text, what);
    if (number < 1 || number > largest || number != std::floor(number)) {
        throw ArgumentError("'" + text + "' is no " + what + ": it is a whole number from 1 to " +
                            std::to_string(largest));
    }
    return static_cast<int>(number);
}

struct OptionName {
    const char* Name;
    bool (*Fits)(Hits what);
    void (*Set)(Fault& fault, const std::string& value);
};

bool HitsRequests(Hits what) {
    return what != Hits::Port;
}
bool HitsLater(Hits what) {
    return what == Hits::RequestsLater;
}
bool HitsPort(Hits what) {
    return what == Hits::Port;
}

constexpr OptionName kOptions[] = {
    {"rate", HitsRequests, [](Fault& fault, const std::string& value) { fault.Rate = ParseRate(value); }},
    {"nth", HitsRequests,
     [](Fault& fault, const std::string& value) {
         fault.Nth = ParseWhole(value, "number of a request", 1'000'000'000);
     }},
    {"by", HitsLater, [](Fault& fault, const std::string& value) { fault.By = ParseDuration(value); }},
    {"after", HitsPort, [](Fault& fault, const std::string& value) { fault.After = ParseDuration(value); }},
    {"for", HitsPort, [](Fault& fault, const std::string& value) { fault.For = ParseDuration(value); }},
    {"every", HitsPort, [](Fault& fault, const std::string& value) { fault.Every = ParseDuration(value); }},
};

const KindName& FindKind(const std::string& name) {
    for (const auto& known : kKinds) {
        if (known.Name == name) return known;
    }
    throw ArgumentError("there is no kind '" + name + "'; there are " + FaultKindNames());
}

void SetOption(Fault& fault, const KindName& kind, const std::string& option) {
    const auto equals = std::min(option.find('='), option.size());
    const auto name = option.substr(0, equals);
    std::string fitting;
    for (const auto& known : kOptions) {
        if (!known.Fits(kind.What)) continue;
        if (known.Name == name && equals < option.size()) return known.Set(fault, option.substr(equals + 1));
        fitting += std::string(fitting.empty() ? "" : ", ") + known.Name + "=";
    }
    throw ArgumentError("'" + option + "' does not fit; " + kind.Name + " takes " + fitting);
}

void CheckWhole(const Fault& fault, const KindName& kind) {
    if (kind.What == Hits::Port && fault.Address) throw ArgumentError("unplug affects the whole bus, not one address");
    if (kind.What == Hits::RequestsLater && fault.By.count() == 0)
        throw ArgumentError("say by how much, as in by=80ms");
    if (fault.Nth && fault.Rate < 1) throw ArgumentError("name nth= or rate=, not both");
    if (fault.Every.count() > 0 && fault.Every <= fault.For) throw ArgumentError("every= must be longer than for=");
}

Fault Parse(const std::string& text) {
    auto end = std::min(text.find(':'), text.size());
    const auto head = text.substr(0, end);
    const auto at = std::min(head.find('@'), head.size());
    const auto& kind = FindKind(head.substr(0, at));
    Fault fault;
    fault.Kind = kind.Kind;
    if (at < head.size()) fault.Address = ParseWhole(head.substr(at + 1), "address", 255);
    while (end < text.size()) {
        const auto begin = end + 1;
        end = std::min(text.find(':', begin), text.size());
        SetOption(fault, kind, text.substr(begin, end - begin));
    }
    CheckWhole(fault, kind);
    return fault;
}

}  // namespace

std::string FaultKindNames() {
    std::string names;
    for (const auto& known : kKinds)
        names += std::string(names.empty() ? "" : ", ") + known.Name;
    return names;
}

Fault ParseFault(const std::string& text) {
    try {
        return Parse(text);
    } catch (const ArgumentError& error) {
        throw ArgumentError("fault '" + text + "': " + error.what());
    }
}

}  // namespace orvix::simulator
