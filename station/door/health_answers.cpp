#include <prometheus/text_serializer.h>

#include "station/door/answers.h"
#include "station/door/health_text.h"
#include "station/door/metric_families.h"
#include "station/door/problem.h"
#include "station/model/clock.h"

namespace orvix::station {
namespace {

HttpResponse TextResponse(std::string text, const char* type) {
    HttpResponse response{.Body = std::move(text)};
    response.Headers.emplace_back("Content-Type", type);
    return response;
}

/// The health of the buses and devices that the filters ask for.
StationHealth FilteredHealth(const StationView& station, const Question& question) {
    auto health = station.Health();
    for (auto& bus : health.Buses) {
        std::erase_if(bus.Addresses, [&](const AddressHealth& address) {
            return !question.AsksFor(station.StationOf(bus.Port), bus.Port,
                                     station.Run.IdentifierOf(IdOf(bus.Port, address.Address)));
        });
    }
    const bool isOfDevice = !question.Parameter("device").empty();
    std::erase_if(health.Buses, [&](const BusHealth& bus) {
        return isOfDevice ? bus.Addresses.empty() : !question.AsksFor(station.StationOf(bus.Port), bus.Port, {});
    });
    return health;
}

Json TextOrNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json CarriageJson(const MqttCarriageState& carriage) {
    auto histories = Json::array();
    for (const auto& one : carriage.Histories) {
        histories.push_back({{"history", one.History}, {"acknowledged", one.Acknowledged}, {"newest", one.Newest}});
    }
    return {
        {"backlog_rows", carriage.Backlog()}, {"rows_per_second", carriage.RowsPerSecond}, {"rows", carriage.Taken},
        {"skipped_rows", carriage.Skipped},   {"trouble", TextOrNull(carriage.Trouble)},   {"histories", histories}};
}

Json MqttJson(const MqttState& state) {
    const auto& since = state.Connection.Since;
    return {{"broker", state.Broker},
            {"topics", state.Topics},
            {"connected_since", since ? Json(IsoText(*since)) : Json()},
            {"trouble", TextOrNull(state.Connection.Trouble)},
            {"history", state.Carriage ? CarriageJson(*state.Carriage) : Json()}};
}

}  // namespace

HttpResponse AnswerHealth(const StationView& station, const Question& question) {
    const auto accepted = question.Request.Header("accept");
    auto asked = "health\n" + accepted;
    for (const char* filter : {"station", "bus", "device"})
        asked.append("\n").append(question.Parameter(filter));
    return station.Shared->Get(asked, station.Slow.Home().Now(), [&] {
        const auto health = FilteredHealth(station, question);
        if (accepted != "text/plain") return JsonResponse(HealthJson(health));
        return TextResponse(PlainHealth(health), "text/plain; charset=utf-8");
    });
}

HttpResponse AnswerMqtt(const StationView& station, const Question& /*question*/) {
    const auto state = station.Mqtt();
    if (!state) throw ProblemError(404, "this station reports to no MQTT broker");
    return JsonResponse(MqttJson(*state));
}

HttpResponse AnswerMetrics(const StationView& station, const Question& /*question*/) {
    return station.Shared->Get("metrics", station.Slow.Home().Now(), [&] {
        const auto text = prometheus::TextSerializer().Serialize(MetricFamilies(station.Health(), station.Mqtt()));
        return TextResponse(text, "text/plain; version=0.0.4; charset=utf-8");
    });
}

}  // namespace orvix::station
