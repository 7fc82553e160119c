#include <algorithm>

#include "station/door/health_text.h"
#include "station/json/json.h"
#include "station/model/clock.h"
#include "station/run/diagnosis.h"

namespace orvix::station {
namespace {

double Milliseconds(Duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

Json ToJson(const std::optional<double>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json ToJson(const Tally& tally) {
    const auto& trips = tally.RoundTrips;
    const auto quantile = [&](double share) {
        return trips.Count() == 0 ? Json(nullptr) : Json(Milliseconds(trips.Quantile(share)));
    };
    return {{"readings", tally.Readings},
            {"readings_good", ToJson(tally.ReadingSuccess())},
            {"readings_doubtful", tally.DoubtfulReadings},
            {"exchanges", tally.Exchanges()},
            {"success", ToJson(tally.Success())},
            {"p50_ms", quantile(0.5)},
            {"p95_ms", quantile(0.95)},
            {"max_ms", quantile(1)},
            {"time_outs", tally.TimeOuts()},
            {"bad_frames", tally.BadFrames()},
            {"checksum_errors", tally.Count(Outcome::Checksum)},
            {"refusals", tally.Count(Outcome::Refused)},
            {"line_lost", tally.Count(Outcome::LineLost)},
            {"retries", tally.Retries},
            {"doubled_answers", tally.Doubled},
            {"late_answers", tally.Late},
            {"stray_bytes", tally.StrayBytes}};
}

/// What is counted where the line is is null elsewhere.
Json ToJson(const Tally& tally, const BusHealth& bus) {
    auto json = ToJson(tally);
    if (!bus.Told) return json;
    for (auto& [name, value] : json.items())
        if (!name.starts_with("readings")) value = nullptr;
    return json;
}

Json LoadOf(double load, const BusHealth& bus) {
    return bus.Told ? Json() : Json(load);
}

Json DiagnosisOf(const std::vector<Finding>& findings, int address) {
    auto list = Json::array();
    for (const auto& finding : findings) {
        if (finding.Address == address) list.push_back({{"sentence", finding.Sentence}, {"address", finding.Address}});
    }
    return list;
}

Json ToJson(const BusHealth& bus, const std::string& time, const std::vector<Finding>& findings) {
    return {{"time", time},
            {"event", "bus_health"},
            {"port", bus.Port},
            {"port_works", !bus.PortDown.has_value()},
            {"port_failures", bus.PortFailures},
            {"load_last_minute", LoadOf(bus.LoadLastMinute, bus)},
            {"load", LoadOf(bus.Load, bus)},
            {"recent", ToJson(bus.Sum(&AddressHealth::Recent), bus)},
            {"total", ToJson(bus.Sum(&AddressHealth::Total), bus)},
            {"diagnosis", DiagnosisOf(findings, 0)}};
}

Json ToJson(const BusHealth& bus, const AddressHealth& address, const StationHealth& health,
            const std::vector<Finding>& findings) {
    const auto period = address.Recent.Period();
    Json lastGood;
    if (address.LastGood) {
        lastGood = IsoText(health.UnixMilliseconds -
                           std::chrono::duration_cast<std::chrono::milliseconds>(*address.LastGood).count());
    }
    return {{"time", IsoText(health.UnixMilliseconds)},
            {"event", "device_health"},
            {"id", IdentifierJson(address.Identifier)},
            {"port", bus.Port},
            {"address", address.Address},
            {"model", address.Model},
            {"name", address.Name},
            {"quality", NameOf(address.Quality)},
            {"last_good", lastGood},
            {"period_ms", bus.Every.count()},
            {"achieved_period_ms", period ? Json(Milliseconds(*period)) : Json(nullptr)},
            {"recent", ToJson(address.Recent, bus)},
            {"total", ToJson(address.Total, bus)},
            {"diagnosis", DiagnosisOf(findings, address.Address)}};
}

}  // namespace

Json HealthJson(const StationHealth& health) {
    auto buses = Json::array();
    for (const auto& bus : health.Buses) {
        const auto findings = Diagnose(bus);
        auto devices = Json::array();
        for (const auto& address : bus.Addresses)
            devices.push_back(ToJson(bus, address, health, findings));
        buses.push_back(ToJson(bus, IsoText(health.UnixMilliseconds), findings));
        buses.back()["devices"] = std::move(devices);
    }
    Json history = {
        {"time", IsoText(health.UnixMilliseconds)}, {"event", "history_health"}, {"standing_still_ms", nullptr}};
    if (health.HistoryStill) history["standing_still_ms"] = Milliseconds(*health.HistoryStill);
    return {{"time", IsoText(health.UnixMilliseconds)}, {"buses", buses}, {"history", history}};
}

}  // namespace orvix::station
