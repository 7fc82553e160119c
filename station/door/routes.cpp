#include "station/door/routes.h"

#include <algorithm>
#include <optional>

#include "station/door/answers.h"
#include "station/door/problem.h"

namespace orvix::station {
namespace {

/// A route that is answered at once.
template <HttpResponse (*Answer)(const StationView&, const Question&)>
void AtOnce(const StationView& station, const Question& question, const HttpReply& reply) {
    reply(Answer(station, question));
}

constexpr char kList[] = "station bus device limit offset";

constexpr Route kMetricsRoute{"GET", "/metrics", Right::Read, "", AtOnce<AnswerMetrics>};

constexpr Route kRoutes[] = {
    {"GET", "/api/v1/station", Right::None, "", AtOnce<AnswerStation>},
    {"GET", "/api/v1/devices", Right::Read, kList, AtOnce<AnswerDevices>},
    {"GET", "/api/v1/values", Right::Read, kList, AtOnce<AnswerValues>},
    {"GET", "/api/v1/events", Right::Read, "station bus device last", AtOnce<AnswerEvents>},
    {"GET", "/api/v1/lines/{*}", Right::Read, "", AtOnce<AnswerLines>},
    {"GET", "/api/v1/openapi.json", Right::None, "", AtOnce<AnswerOpenApi>},
    {"GET", "/api/v1/history", Right::Read, "device from to points", AnswerHistory},
    {"GET", "/api/v1/history.csv", Right::Read, "device from to", AnswerHistoryCsv},
    {"GET", "/api/v1/alarms", Right::Read, "state from to station bus device limit offset", AnswerAlarms},
    {"POST", "/api/v1/alarms/{}/acknowledge", Right::Change, "", AnswerAcknowledge},
    {"POST", "/api/v1/devices", Right::Change, "", AnswerAdd},
    {"POST", "/api/v1/devices/{}/read", Right::Change, "", AnswerRead},
    {"POST", "/api/v1/devices/{}/export", Right::Change, "", AnswerExport},
    {"PATCH", "/api/v1/devices/{}", Right::Change, "", AnswerRename},
    {"DELETE", "/api/v1/devices/{}", Right::Change, "", AnswerRemove},
    {"GET", "/api/v1/mqtt", Right::Read, "", AtOnce<AnswerMqtt>},
    {"GET", "/api/v1/health", Right::Read, "station bus device", AtOnce<AnswerHealth>},
    kMetricsRoute,
    {"GET", "/", Right::None, nullptr, AtOnce<AnswerPage>},
    {"GET", "/{}", Right::None, nullptr, AtOnce<AnswerPage>},
};

/// Takes the text up to the next "/" off the beginning.
std::string_view TakePart(std::string_view& path) {
    const auto part = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(path.size(), part.size() + 1));
    return part;
}

/// What stands in the path for each "{}"; nothing when it is another path.
std::optional<std::vector<std::string>> NamesIn(std::string_view path, std::string_view pattern) {
    std::vector<std::string> names;
    while (!pattern.empty() && !path.empty()) {
        const auto wanted = TakePart(pattern);
        if (wanted == "{*}") {
            names.emplace_back(path);
            return names;
        }
        const auto part = TakePart(path);
        if (wanted == "{}" && !part.empty()) {
            names.emplace_back(part);
        } else if (wanted != part) {
            return std::nullopt;
        }
    }
    if (!pattern.empty() || !path.empty()) return std::nullopt;
    return names;
}

bool IsOneOf(std::string_view name, std::string_view names) {
    while (!names.empty()) {
        const auto one = names.substr(0, names.find(' '));
        if (one == name) return true;
        names.remove_prefix(std::min(names.size(), one.size() + 1));
    }
    return false;
}

void CheckParameters(const Route& route, const HttpRequest& request) {
    if (route.Parameters == nullptr) return;
    for (const auto& [name, value] : request.Query) {
        if (IsOneOf(name, route.Parameters)) continue;
        std::string detail = "there is no parameter " + name + " here: " + request.Path + " takes ";
        detail += *route.Parameters == '\0' ? "none" : route.Parameters;
        throw ProblemError(400, detail);
    }
}

void CheckRight(Right needed, Right has) {
    if (has >= needed) return;
    const std::string needs = needed == Right::Change ? "may change things" : "may read";
    throw ProblemError(has == Right::None ? 401 : 403, "this needs a token that " + needs);
}

}  // namespace

std::span<const Route> Routes() {
    return kRoutes;
}

std::span<const Route> MetricsRoutes() {
    return {&kMetricsRoute, 1};
}

void AnswerByRoute(std::span<const Route> routes, const StationView& station, const HttpRequest& request, Right has,
                   const HttpReply& reply) {
    const std::string method = request.Method == "HEAD" ? "GET" : request.Method;
    if (method != "GET") CheckRight(Right::Change, has);
    std::string allowed;
    for (const auto& route : routes) {
        auto names = NamesIn(request.Path, route.Pattern);
        if (!names) continue;
        if (method == route.Method) {
            CheckRight(route.Needs, has);
            CheckParameters(route, request);
            return route.Answer(station, {request, std::move(*names), has}, reply);
        }
        allowed += (allowed.empty() ? "" : ", ") + std::string(route.Method);
    }
    if (allowed.empty()) throw ProblemError(404, "there is nothing at " + request.Path);
    auto refused = ProblemResponse(405, request.Path + " does not take " + request.Method + ", but " + allowed);
    refused.Headers.emplace_back("Allow", allowed);
    reply(std::move(refused));
}

}  // namespace orvix::station
