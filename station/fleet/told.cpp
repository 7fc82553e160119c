#include "station/fleet/told.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>

#include "devices/protocol/device_models.h"
#include "host/characters.h"
#include "host/error.h"
#include "station/model/bus_setup.h"
#include "station/model/history_time.h"

namespace orvix::station {
namespace {

constexpr std::size_t kLongestPayload = 16UL * 1024;
constexpr std::size_t kLongestHealth = 1024UL * 1024;
constexpr std::size_t kLongestSentence = 1000;
constexpr std::size_t kLongestId = 64;
constexpr int kHighestAddress = 255;
constexpr std::int64_t kMostWhole = 0xFFFF;
// No time before this is one of the station's clock.
constexpr std::int64_t kFirstTime = 1;
// All that a sensor of any kind measures.
constexpr double kMostValue = 1e6;
constexpr std::chrono::hours kLongestToldPeriod{24 * 24};

[[noreturn]] void Refuse(const std::string& what) {
    throw Error(errors::General, what);
}

Json ObjectIn(std::string_view payload, std::size_t longest) {
    if (payload.size() > longest) Refuse("a payload of " + std::to_string(payload.size()) + " bytes");
    auto object = Json::parse(payload, nullptr, false);
    if (!object.is_object()) Refuse("no JSON object");
    return object;
}

const Json& MemberOf(const Json& object, const char* name) {
    const auto member = object.find(name);
    if (member == object.end()) Refuse(std::string(name) + " is missing");
    return *member;
}

/// Without what cannot be shown.
std::string ShownText(const Json& object, const char* name, std::size_t longest) {
    const auto& member = MemberOf(object, name);
    if (!member.is_string()) Refuse(std::string(name) + " is no text");
    const auto& text = member.get_ref<const std::string&>();
    if (text.size() > longest) Refuse(std::string(name) + " is longer than " + std::to_string(longest) + " bytes");
    return Printable(text);
}

std::int64_t WholeOf(const Json& object, const char* name, std::int64_t least, std::int64_t most) {
    const auto& member = MemberOf(object, name);
    const bool isWhole = member.is_number_integer() && member <= most && member >= least;
    if (!isWhole)
        Refuse(std::string(name) + " is no whole number from " + std::to_string(least) + " to " + std::to_string(most));
    return member.get<std::int64_t>();
}

double RealOf(const Json& object, const char* name) {
    const auto& member = MemberOf(object, name);
    const bool isValue = member.is_number() && std::abs(member.get<double>()) <= kMostValue;
    if (!isValue) Refuse(std::string(name) + " is no number that can be measured");
    return member.get<double>();
}

std::int64_t TimeOf(const Json& object, const char* name) {
    const auto time = ParseHistoryTime(ShownText(object, name, kLongestId), 0);
    if (time < kFirstTime) Refuse(std::string(name) + " is no date and time");
    return time;
}

std::string IdOfDevice(const Json& object, const char* name) {
    auto id = ShownText(object, name, kLongestId);
    const auto isOfId = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-'; };
    if (id.empty() || !std::all_of(id.begin(), id.end(), isOfId)) Refuse(std::string(name) + " is no id of a device");
    return id;
}

std::int32_t ModelOfDevice(const Json& object) {
    const auto model = static_cast<std::int32_t>(WholeOf(object, "model", 0, kMostWhole));
    if (FindDeviceModel(model) == nullptr) Refuse("model " + std::to_string(model) + " is not known here");
    return model;
}

/// Of what ReadingOf reads, all that it takes as it is.
void CheckNumbers(const Json& object) {
    WholeOf(object, "address", 1, kHighestAddress);
    ModelOfDevice(object);
    const auto checkValue = [](const Json& of) {
        const auto& value = MemberOf(of, "value");
        if (value.is_number_integer()) WholeOf(of, "value", -kMostWhole, kMostWhole);
        if (value.is_number_float()) RealOf(of, "value");
    };
    checkValue(object);
    if (const auto last = object.find("last_good"); last != object.end() && last->is_object()) checkValue(*last);
    if (!MemberOf(object, "age_ms").is_null()) WholeOf(object, "age_ms", 0, std::int64_t{1} << 52U);
}

/// The first sentence of a list of findings; empty when there is none.
std::string SentenceIn(const Json& object) {
    const auto findings = object.find("diagnosis");
    if (findings == object.end() || !findings->is_array() || findings->empty()) return {};
    return ShownText(findings->front(), "sentence", kLongestSentence);
}

/// Nothing of one whose id is not settled yet.
std::optional<ToldDevice> DeviceIn(const Json& object) {
    if (!object.is_object()) Refuse("devices holds no objects");
    if (MemberOf(object, "id").is_null()) return std::nullopt;
    return ToldDevice{IdOfDevice(object, "id"), static_cast<int>(WholeOf(object, "address", 1, kHighestAddress)),
                      ModelOfDevice(object), ShownText(object, "name", kLongestToldName), SentenceIn(object)};
}

std::optional<Acknowledgement> AcknowledgementIn(const Json& alarm) {
    const auto& known = MemberOf(alarm, "acknowledged");
    if (!known.is_object()) return std::nullopt;
    return Acknowledgement{TimeOf(known, "time"), ShownText(known, "by", kLongestSentence),
                           ShownText(known, "comment", kLongestSentence)};
}

}  // namespace

ToldReading ReadingIn(std::string_view payload) {
    const auto object = ObjectIn(payload, kLongestPayload);
    CheckNumbers(object);
    ToldReading told;
    told.Taken = ReadingOf(object);
    auto& reading = told.Taken;
    reading.UnixMilliseconds = TimeOf(object, "time");
    reading.Identifier = IdOfDevice(object, "id");
    reading.Port = ShownText(object, "port", kLongestToldName);
    reading.Name = ShownText(object, "name", kLongestToldName);
    reading.Variable = NameOf(MeasuredVariable(reading.Model));
    if (reading.Valid() && std::holds_alternative<std::string>(reading.Value)) Refuse("value is a text");
    for (auto* text : {&reading.Error.Text, &reading.Error.Detail})
        *text = Printable(text->substr(0, kLongestSentence));
    told.Session = ShownText(object, "session", kLongestId);
    told.Seq = WholeOf(object, "seq", 1, std::int64_t{1} << 62U);
    return told;
}

ToldBus BusIn(std::string_view payload) {
    const auto object = ObjectIn(payload, kLongestHealth);
    ToldBus bus;
    bus.Name = ShownText(object, "port", kLongestToldName);
    bus.PortWorks = MemberOf(object, "port_works") == true;
    bus.Sentence = SentenceIn(object);
    const auto& devices = MemberOf(object, "devices");
    if (!devices.is_array()) Refuse("devices is no list");
    std::set<int> addresses;
    for (const auto& one : devices) {
        auto device = DeviceIn(one);
        if (!device) continue;
        if (!addresses.insert(device->Address).second) Refuse("an address is there twice");
        bus.Every = std::chrono::milliseconds(
            WholeOf(one, "period_ms", kShortestPeriod.count(), std::chrono::milliseconds(kLongestToldPeriod).count()));
        bus.Devices.push_back(std::move(*device));
    }
    return bus;
}

std::optional<AlarmEvent> AlarmIn(std::string_view payload) {
    const auto object = ObjectIn(payload, kLongestPayload);
    if (MemberOf(object, "id").is_null()) return std::nullopt;
    const auto kind = AlarmKindOf(ShownText(object, "alarm", kLongestId));
    if (!kind || kind->second < 0 || kind->second > 7) Refuse("alarm is none that is known here");
    AlarmEvent event;
    event.UnixMilliseconds = TimeOf(object, "time");
    event.Port = ShownText(object, "port", kLongestToldName);
    event.Kind = kind->first;
    event.Input = kind->second;
    if (event.Kind != AlarmKind::Port) {
        event.Address = static_cast<int>(WholeOf(object, "address", 1, kHighestAddress));
        event.Identifier = IdOfDevice(object, "device");
    }
    event.Name = ShownText(object, "name", kLongestToldName);
    event.Value = RealOf(object, "value");
    if (!MemberOf(object, "limit").is_null()) event.Limit = RealOf(object, "limit");
    event.Alarm = ShownText(object, "id", kLongestId);
    event.Started = TimeOf(object, "started");
    event.Acknowledged = AcknowledgementIn(object);
    const auto state = ShownText(object, "state", kLongestId);
    const auto change = ShownText(object, "change", kLongestId);
    if (state == "over") {
        event.What = AlarmChange::Ended;
    } else if (change == NameOf(AlarmChange::Acknowledged)) {
        event.What = AlarmChange::Acknowledged;
    } else {
        event.What = change == NameOf(AlarmChange::Started) ? AlarmChange::Started : AlarmChange::Continued;
    }
    return event;
}

}  // namespace orvix::station
