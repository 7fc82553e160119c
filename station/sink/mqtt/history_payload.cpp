#include "station/sink/mqtt/history_payload.h"

#include "station/json/json.h"
#include "station/model/clock.h"

namespace orvix::station {
namespace {

Json IdentityJson(const OutboxRow& row, const char* event) {
    return {{"n", row.N}, {"time", IsoText(row.Time)}, {"event", event}, {"session", row.Session}, {"seq", row.Seq}};
}

Json AlarmJson(const OutboxRow& row) {
    auto json = IdentityJson(row, "alarm");
    json.update(ToJson(*row.Alarm));
    return json;
}

Json MeasurementJson(const OutboxRow& row) {
    const bool isGap = std::holds_alternative<std::monostate>(row.Value);
    auto json = IdentityJson(row, isGap ? "gap" : "reading");
    json["id"] = row.Identifier;
    json["variable"] = row.Variable;
    if (!isGap) {
        json["value"] = ToJson(row.Value);
        if (row.Why != Doubt::None) json["doubt"] = NameOf(row.Why);
        return json;
    }
    json["first_seq"] = row.FirstSeq;
    json["until"] = IsoText(row.Until);
    json["count"] = row.Count;
    json["error"] = ToJson(row.Reason);
    return json;
}

}  // namespace

std::string HistoryPayload(const OutboxBatch& batch) {
    auto rows = Json::array();
    for (const auto& row : batch.Rows)
        rows.push_back(row.Alarm ? AlarmJson(row) : MeasurementJson(row));
    return Dump({{"history", batch.History},
                 {"from", batch.From},
                 {"to", batch.To},
                 {"skipped", batch.Skipped},
                 {"rows", std::move(rows)}});
}

std::optional<HistoryRequest> HistoryRequestOf(const std::string& payload) {
    const auto json = Json::parse(payload, nullptr, false);
    if (!json.is_object()) return std::nullopt;
    HistoryRequest request;
    const auto from = json.find("from");
    const auto history = json.find("history");
    // A number that does not fit is none that a row has.
    if (from == json.end() || !from->is_number_integer() || from->is_number_float()) return std::nullopt;
    request.From = from->get<std::int64_t>();
    if (history != json.end()) {
        if (!history->is_string()) return std::nullopt;
        request.History = history->get<std::string>();
    }
    return request.From > 0 ? std::make_optional(request) : std::nullopt;
}

}  // namespace orvix::station
