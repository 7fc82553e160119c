#include "station/json/json.h"

#include "station/model/clock.h"
#include "station/model/text.h"

namespace orvix::station {
namespace {

Json AgeOf(const Reading& reading) {
    const auto age = AgeMilliseconds(reading);
    return age < 0 ? Json() : Json(age);
}

Json LastGoodOf(const Reading& reading) {
    if (AgeMilliseconds(reading) < 0) return nullptr;
    return {{"value", ToJson(reading.LastGood)}, {"time", IsoText(reading.LastGoodUnixMilliseconds)}};
}

}  // namespace

std::string Dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json ToJson(const ReadingValue& value) {
    if (const auto* degrees = std::get_if<double>(&value)) return *degrees;
    if (const auto* inputs = std::get_if<std::int32_t>(&value)) return *inputs;
    const auto* text = std::get_if<std::string>(&value);
    return text == nullptr ? Json() : Json(*text);
}

Json ToJson(const Failure& failure) {
    return {{"code", CodeText(failure.Code)}, {"text", failure.Text}, {"detail", failure.Detail}};
}

Json ToJson(const Reading& reading) {
    Json object{{"time", IsoText(reading.UnixMilliseconds)},
                {"event", "reading"},
                {"port", reading.Port},
                {"address", reading.Address},
                {"model", reading.Model},
                {"name", reading.Name},
                {"variable", reading.Variable},
                {"value", ToJson(reading.Value)},
                {"valid", reading.Valid()},
                {"quality", NameOf(reading.Quality)},
                {"age_ms", AgeOf(reading)}};
    if (!reading.Valid()) {
        object["last_good"] = LastGoodOf(reading);
        object["error"] = ToJson(reading.Error);
    }
    return object;
}

Json ToJson(const AlarmEvent& event) {
    return {{"time", IsoText(event.UnixMilliseconds)},
            {"event", "alarm"},
            {"state", event.Starts ? "start" : "end"},
            {"port", event.Port},
            {"address", event.Address},
            {"name", event.Name},
            {"alarm", event.KindText()},
            {"value", event.Value},
            {"limit", event.Limit},
            {"text", event.Text()}};
}

}  // namespace orvix::station
