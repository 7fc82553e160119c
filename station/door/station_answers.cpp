#include <algorithm>

#include "devices/protocol/device_models.h"
#include "station/door/answers.h"
#include "station/door/health_text.h"
#include "station/door/problem.h"
#include "station/model/clock.h"
#include "station/model/version.h"
#include "station/run/diagnosis.h"

namespace orvix::station {
namespace {

template <class Value>
Json OrNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json();
}

const BusHealth* HealthOf(const std::string& port, const StationHealth& health) {
    const auto bus =
        std::find_if(health.Buses.begin(), health.Buses.end(), [&](const BusHealth& one) { return one.Port == port; });
    return bus == health.Buses.end() ? nullptr : &*bus;
}

/// What is said of the bus itself.
Json SentenceOf(const BusHealth& bus) {
    const auto findings = Diagnose(bus);
    const bool isOfBus = !findings.empty() && findings.front().Address == 0;
    return isOfBus ? Json(findings.front().Sentence) : Json();
}

Json BusJson(const BusSetup& setup, const BusHealth* health, bool isSimulated) {
    return {{"bus", setup.PortLabel},
            {"port_path", setup.PortPath},
            {"simulated", isSimulated},
            {"every_ms", setup.Every.count()},
            {"port_works", health != nullptr && !health->PortDown},
            {"sentence", health == nullptr ? Json() : SentenceOf(*health)}};
}

Json LimitsJson(const AlarmLimits& limits) {
    return {{"low", OrNull(limits.Low)}, {"high", OrNull(limits.High)}, {"hysteresis", limits.Hysteresis}};
}

bool MayFollowLines(const StationView& station, const Question& question) {
    const bool isLocal = question.Request.User.has_value();
    return question.Has >= Right::Read && (isLocal || station.ShowsLines);
}

HttpResponse EventResponse(std::shared_ptr<HttpStream> stream) {
    HttpResponse response{.Stream = std::move(stream)};
    response.Headers = {{"Content-Type", "text/event-stream"}, {"X-Accel-Buffering", "no"}};
    return response;
}

}  // namespace

Json DeviceJson(const BusSetup& bus, const DeviceSetup& device, const std::string& id) {
    const auto* model = FindDeviceModel(device.Model);
    return {{"id", id},
            {"bus", bus.PortLabel},
            {"address", device.Address},
            {"model", device.Model},
            {"name", device.Name},
            {"variable", model == nullptr ? Json() : Json(NameOf(model->Measurement.VarID))},
            {"period_ms", bus.Every.count()},
            {"limits", LimitsJson(device.Limits)}};
}

HttpResponse AnswerStation(const StationView& station, const Question& question) {
    const auto health = station.Health();
    auto buses = Json::array();
    // Those who may not read learn only that there is a station, and what they may do.
    if (question.Has >= Right::Read) {
        for (const auto& bus : station.Run.Setups())
            buses.push_back(BusJson(bus, HealthOf(bus.PortLabel, health), station.IsSimulated(bus.PortLabel)));
    }
    const auto still = health.HistoryStill;
    const auto stillMs = still ? Json(std::chrono::floor<std::chrono::milliseconds>(*still).count()) : Json();
    return JsonResponse({{"station", station.Name},
                         {"version", kVersion},
                         {"session", station.Session},
                         {"started", IsoText(station.Started)},
                         {"time", IsoText(health.UnixMilliseconds)},
                         {"rights", NameOf(question.Has)},
                         {"lines_allowed", MayFollowLines(station, question)},
                         {"history", {{"kept", station.KeepsHistory}, {"standing_still_ms", stillMs}}},
                         {"buses", buses}});
}

HttpResponse AnswerDevices(const StationView& station, const Question& question) {
    std::vector<Json> devices;
    for (const auto& bus : station.Run.Setups()) {
        for (const auto& device : bus.Devices) {
            const auto id = station.Run.IdentifierOf(IdOf(bus.PortLabel, device.Address));
            // Until it is settled which device that is, it is none that could be asked for.
            if (id.empty()) continue;
            if (question.AsksFor(station.StationOf(bus.PortLabel), bus.PortLabel, id))
                devices.push_back(DeviceJson(bus, device, id));
        }
    }
    return PageOf(question, "devices", devices);
}

HttpResponse AnswerValues(const StationView& station, const Question& question) {
    std::vector<Json> values;
    for (const auto& reading : station.Run.Values()) {
        const auto& id = reading.Identifier;
        if (!id.empty() && question.AsksFor(station.StationOf(reading.Port), reading.Port, id))
            values.push_back(ToJson(reading));
    }
    return PageOf(question, "values", values);
}

HttpResponse AnswerEvents(const StationView& station, const Question& question) {
    const auto header = question.Request.Header("last-event-id");
    const auto last = question.Parameter("last");
    const auto filter = [name = station.Name, isFleet = station.IsFleet, query = question.Request.Query](
                            const std::string& bus, const std::string& device) {
        const HttpRequest asked{.Query = query};
        return Question{asked, {}, Right::Read}.AsksFor(isFleet ? StationOfBus(bus) : name, bus, device);
    };
    return EventResponse(station.Events.Ring().Follow(header.empty() ? last : header, filter));
}

HttpResponse AnswerLines(const StationView& station, const Question& question) {
    if (!MayFollowLines(station, question)) {
        throw ProblemError(403, "the bytes on the lines are shown at the local socket, or with lines = true in [web]");
    }
    const auto& name = question.Names[0];
    const auto setups = station.Run.Setups();
    // Proxies make one "/" of two, with which the path of a port begins.
    const auto isWanted = [&](const BusSetup& bus) { return bus.PortLabel == name || bus.PortLabel == "/" + name; };
    const auto found = std::find_if(setups.begin(), setups.end(), isWanted);
    if (found == setups.end()) throw ProblemError(404, "there is no bus " + name);
    return EventResponse(station.Lines.Ring().Follow(
        {}, [wanted = found->PortLabel](const std::string& bus, const std::string&) { return bus == wanted; }));
}

}  // namespace orvix::station
