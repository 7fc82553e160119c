#include "station/model/alarm.h"

#include <algorithm>
#include <cmath>

#include "host/text.h"
#include "station/model/text.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

/// As many decimals as a sensor of this kind is worth.
std::string DegreesText(double degrees) {
    return NumberText(std::round(degrees * 100) / 100) + " °C";
}

struct AlarmKindName {
    AlarmKind Kind;
    const char* Name;
};

constexpr AlarmKindName kAlarmKinds[] = {{AlarmKind::Low, "low"},           {AlarmKind::High, "high"},
                                         {AlarmKind::Input, "input"},       {AlarmKind::Silent, "silent"},
                                         {AlarmKind::Doubtful, "doubtful"}, {AlarmKind::Port, "port"}};

}  // namespace

std::string AlarmName(const std::string& session, std::int64_t seq) {
    constexpr std::size_t kSessionDigits = 8;
    return session.substr(0, kSessionDigits) + "-" + std::to_string(seq);
}

std::optional<std::pair<AlarmKind, int>> AlarmKindOf(const std::string& text) {
    const auto name = text.substr(0, text.find(' '));
    for (const auto& kind : kAlarmKinds) {
        if (name == kind.Name)
            return std::pair(kind.Kind, LeadingNumber(text.substr(std::min(text.size(), name.size() + 1))));
    }
    return std::nullopt;
}

const char* NameOf(AlarmChange change) {
    constexpr const char* kNames[] = {"start", "continue", "acknowledge", "end"};
    return kNames[static_cast<std::size_t>(change)];
}

std::string AlarmEvent::KindText() const {
    const std::string name = kAlarmKinds[static_cast<std::size_t>(Kind)].Name;
    return Kind == AlarmKind::Input ? name + " " + NumberText(std::int32_t{Input}) : name;
}

AlarmState AlarmEvent::State() const {
    AlarmState state{.Alarm = Alarm,
                     .Port = Port,
                     .Address = Address,
                     .Identifier = Identifier,
                     .Name = Name,
                     .Kind = KindText(),
                     .Value = Value,
                     .Limit = Limit,
                     .Text = Text(),
                     .Started = Started,
                     .Ended = {},
                     .Acknowledged = Acknowledged};
    if (!IsOn()) state.Ended = UnixMilliseconds;
    return state;
}

std::string AlarmEvent::TextOfTime() const {
    const auto time = DurationText(std::chrono::duration_cast<Duration>(std::chrono::duration<double>(Value)));
    switch (Kind) {
        case AlarmKind::Silent:
            return IsOn() ? "no good value for " + time : "a good value again after " + time;
        case AlarmKind::Doubtful:
            return IsOn() ? "doubtful values for " + time : "no more doubtful values after " + time;
        default:
            return IsOn() ? "the port has failed for " + time : "the port works again after " + time;
    }
}

std::string AlarmEvent::Text() const {
    if (Withdrawn) return "the limit was taken away";
    if (Kind == AlarmKind::Input) return KindText() + (Value != 0 ? " is on" : " is off");
    if (IsOfTime()) return TextOfTime();
    const std::string side = Kind == AlarmKind::High ? "above" : "below";
    return DegreesText(Value) + " is " + (IsOn() ? "" : "no longer ") + side + " the limit of " + DegreesText(Limit);
}

std::string AddressText(int address) {
    return address == 0 ? "" : std::to_string(address);
}

std::string TextOf(const AlarmEvent& event) {
    constexpr const char* kWords[] = {"ALARM", "ALARM goes on", "alarm acknowledged", "alarm over"};
    std::string text = Padded(kWords[static_cast<std::size_t>(event.What)], 11) + "  " + event.Text();
    if (event.What == AlarmChange::Acknowledged && event.Acknowledged) {
        const auto& [time, by, comment] = *event.Acknowledged;
        text += "; by " + (by.empty() ? "somebody" : by) + (comment.empty() ? "" : ": " + comment);
    }
    return text;
}

}  // namespace orvix::station
