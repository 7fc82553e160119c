#include "station/json/json.h"

#include <cmath>
#include <cstdlib>

#include "host/characters.h"
#include "host/text.h"
#include "station/model/clock.h"
#include "station/model/history_time.h"
#include "station/model/text.h"

namespace orvix::station {
namespace {

std::string PaddedHex(char32_t character) {
    const auto digits = HexText(static_cast<std::int32_t>(character));
    return std::string(4 - digits.size(), '0') + digits;
}

Json AgeOf(const Reading& reading) {
    return reading.Age ? Json(reading.Age->count()) : Json();
}

Json LastGoodOf(const Reading& reading) {
    if (!reading.Age) return nullptr;
    return {{"value", ToJson(reading.LastGood)}, {"time", IsoText(reading.LastGoodUnixMilliseconds)}};
}

ReadingValue ValueOf(const Json& value) {
    if (value.is_null()) return {};
    if (value.is_string()) return value.get<std::string>();
    if (value.is_number_integer()) return value.get<std::int32_t>();
    return value.get<double>();
}

Quality QualityOf(const std::string& name) {
    for (const auto quality : {Quality::Good, Quality::Doubtful, Quality::Stale}) {
        if (name == NameOf(quality)) return quality;
    }
    return Quality::Offline;
}

Doubt DoubtOf(const std::string& name) {
    for (const auto doubt :
         {Doubt::OutOfRange, Doubt::PowerOnValue, Doubt::Jump, Doubt::ReplyCode, Doubt::OuterChecksum}) {
        if (name == NameOf(doubt)) return doubt;
    }
    return Doubt::None;
}

/// Empty when there is none, or it is null.
std::string TextIn(const Json& object, const char* name) {
    const auto text = object.find(name);
    return text != object.end() && text->is_string() ? text->get<std::string>() : std::string();
}

/// In all numbers that are no whole ones: six digits behind the point are more than any of them is good for.
void Round(Json& json) {
    constexpr double kDigits = 1e6;
    if (json.is_number_float()) json = std::round(json.get<double>() * kDigits) / kDigits;
    if (!json.is_structured()) return;
    for (auto& part : json)
        Round(part);
}

/// The control characters that are escaped as well, though JSON does not ask for it: those above ASCII's first 32.
std::string Escaped(std::string json) {
    std::string_view rest = json;
    rest.remove_prefix(HarmlessLength(rest));
    if (rest.empty()) return json;
    auto text = json.substr(0, json.size() - rest.size());
    while (!rest.empty()) {
        const auto before = rest;
        const auto character = TakeCharacter(rest);
        if (IsControl(character)) {
            text += "\\u" + PaddedHex(character);
        } else {
            text += before.substr(0, before.size() - rest.size());
        }
    }
    return text;
}

}  // namespace

std::string Dump(Json json) {
    Round(json);
    return Escaped(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

Json IdentifierJson(const std::string& identifier) {
    return identifier.empty() ? Json() : Json(identifier);
}

Json SerialJson(const std::string& raw) {
    return raw.empty() ? Json() : Json(SerialText(raw));
}

Json ToJson(const ReadingValue& value) {
    if (const auto* degrees = std::get_if<double>(&value)) return *degrees;
    if (const auto* inputs = std::get_if<std::int32_t>(&value)) return *inputs;
    const auto* text = std::get_if<std::string>(&value);
    return text == nullptr ? Json() : Json(*text);
}

Json ToJson(const Failure& failure) {
    return {{"code", failure.Code == 0 ? Json() : Json(CodeText(failure.Code))},
            {"text", failure.Text},
            {"detail", failure.Detail}};
}

Json ToJson(const Reading& reading) {
    Json object{{"time", IsoText(reading.UnixMilliseconds)},
                {"event", "reading"},
                {"id", IdentifierJson(reading.Identifier)},
                {"port", reading.Port},
                {"address", reading.Address},
                {"model", reading.Model},
                {"name", reading.Name},
                {"variable", reading.Variable},
                {"value", ToJson(reading.Value)},
                {"valid", reading.Valid()},
                {"quality", NameOf(reading.Quality)},
                {"age_ms", AgeOf(reading)}};
    if (!reading.IsGood()) object["last_good"] = LastGoodOf(reading);
    if (!reading.Valid()) object["error"] = ToJson(reading.Error);
    if (reading.Why != Doubt::None) object["doubt"] = NameOf(reading.Why);
    return object;
}

Json ToJson(const AlarmState& alarm) {
    Json known;
    if (const auto& acknowledged = alarm.Acknowledged) {
        known = {{"time", IsoText(acknowledged->UnixMilliseconds)},
                 {"by", acknowledged->By},
                 {"comment", acknowledged->Comment}};
    }
    return {{"id", alarm.Alarm},
            {"state", alarm.Ended ? "over" : "on"},
            {"port", alarm.Port},
            {"address", alarm.Address == 0 ? Json() : Json(alarm.Address)},
            {"device", IdentifierJson(alarm.Identifier)},
            {"name", alarm.Name},
            {"alarm", alarm.Kind},
            {"value", alarm.Value},
            {"limit", alarm.Limit ? Json(*alarm.Limit) : Json()},
            {"text", alarm.Text},
            {"started", IsoText(alarm.Started)},
            {"ended", alarm.Ended ? Json(IsoText(*alarm.Ended)) : Json()},
            {"acknowledged", known}};
}

Failure FailureOf(const Json& object) {
    const auto code = std::strtoul(TextIn(object, "code").c_str(), nullptr, 16);
    return {.Code = static_cast<ErrorNumber>(code), .Text = TextIn(object, "text"), .Detail = TextIn(object, "detail")};
}

Reading ReadingOf(const Json& object) {
    try {
        Reading reading;
        reading.UnixMilliseconds = ParseHistoryTime(object.at("time"), 0);
        reading.Identifier = TextIn(object, "id");
        reading.Port = object.at("port");
        reading.Address = object.at("address");
        reading.Model = object.at("model");
        reading.Name = object.at("name");
        reading.Variable = object.at("variable");
        reading.Value = ValueOf(object.at("value"));
        reading.Quality = QualityOf(object.at("quality"));
        reading.Why = DoubtOf(TextIn(object, "doubt"));
        reading.LastGood = reading.Value;
        if (object.contains("error")) reading.Error = FailureOf(object["error"]);
        if (object.contains("last_good")) {
            const auto& last = object["last_good"];
            reading.LastGood = last.is_null() ? ReadingValue() : ValueOf(last.at("value"));
            if (!last.is_null()) reading.LastGoodUnixMilliseconds = ParseHistoryTime(last.at("time"), 0);
        }
        if (!object.at("age_ms").is_null()) reading.Age = std::chrono::milliseconds(object["age_ms"]);
        return reading;
    } catch (const Json::exception&) {
        throw Error(errors::General, "the station's answer is not a reading");
    }
}

Json ToJson(const AlarmEvent& event) {
    Json object{{"time", IsoText(event.UnixMilliseconds)}, {"event", "alarm"}, {"change", NameOf(event.What)}};
    object.update(ToJson(event.State()));
    return object;
}

}  // namespace orvix::station
