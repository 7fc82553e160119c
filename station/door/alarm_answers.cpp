#include <algorithm>

#include "host/characters.h"
#include "station/door/answers.h"
#include "station/door/problem.h"
#include "station/model/clock.h"
#include "station/store/history_reader.h"
#include "station/store/history_schema.h"

namespace orvix::station {
namespace {

constexpr char kUsualAlarmSpan[] = "7d";
constexpr std::size_t kLongestComment = 1000;

using Which = AlarmQuestion::Which;

Which StateIn(const Question& question) {
    const auto state = question.Parameter("state");
    if (state.empty() || state == "all") return Which::All;
    if (state == "on") return Which::On;
    if (state == "over") return Which::Over;
    throw ProblemError(400, "state: write on, over or all");
}

/// Those that are on, from memory: they are asked for whenever they began.
std::vector<AlarmState> AlarmsOn(const StationView& station, const Question& question) {
    std::vector<AlarmState> alarms;
    for (const auto& event : station.Run.Alarms().Active()) {
        if (question.AsksFor(station.StationOf(event.Port), event.Port, event.Identifier))
            alarms.push_back(event.State());
    }
    return alarms;
}

void SortNewestFirst(std::vector<AlarmState>& alarms) {
    std::stable_sort(alarms.begin(), alarms.end(),
                     [](const AlarmState& a, const AlarmState& b) { return a.Started > b.Started; });
}

/// The page that is asked for, of as many alarms as it could need.
HttpResponse AlarmPageOf(const Question& question, std::vector<AlarmState> alarms, std::size_t total) {
    SortNewestFirst(alarms);
    const Paging paging(question);
    std::vector<Json> rows;
    for (auto row = paging.Offset; row < alarms.size() && rows.size() < paging.Limit; ++row)
        rows.push_back(AlarmJson(alarms[row]));
    return PageOf(question, "alarms", std::move(rows), total);
}

std::string ShortTextIn(const Json& body, const char* name) {
    auto text = TextIn(body, name);
    if (text.size() <= kLongestComment && Printable(text) == text) return text;
    throw ProblemError(400, std::string(name) + ": write a text of at most 1000 bytes without control characters");
}

}  // namespace

Json AlarmJson(const AlarmState& alarm) {
    auto json = ToJson(alarm);
    json["bus"] = alarm.Port;
    json.erase("port");
    return json;
}

void AnswerAlarms(const StationView& station, const Question& question, const HttpReply& reply) {
    const auto now = UnixMilliseconds();
    const auto which = StateIn(question);
    const auto since = TimeIn(question, "from", kUsualAlarmSpan, now);
    const Period time{since, TimeIn(question, "to", "0s", now)};
    auto on = which == Which::Over ? std::vector<AlarmState>() : AlarmsOn(station, question);
    const auto isOfStation = question.AsksFor(station.Name, question.Parameter("bus"), question.Parameter("device"));
    if (which == Which::On || !station.KeepsHistory || !isOfStation) {
        const auto total = on.size();
        return reply(AlarmPageOf(question, std::move(on), total));
    }
    const Paging paging(question);
    const AlarmQuestion asked{.State = Which::Over,
                              .Port = question.Parameter("bus"),
                              .Device = question.Parameter("device"),
                              .Time = time,
                              .Limit = static_cast<std::int64_t>(paging.Offset + paging.Limit)};
    station.Slow.Ask(
        [asked, now, on = std::move(on), files = station.HistoryFiles, request = question.Request, has = question.Has] {
            auto alarms = on;
            auto total = on.size();
            for (const auto& file : files) {
                if (!HasHistory(file)) continue;
                auto page = HistoryReader(file, now).Alarms(asked);
                total += static_cast<std::size_t>(page.Total);
                for (auto& row : page.Alarms)
                    alarms.push_back(std::move(row.State));
            }
            return AlarmPageOf({request, {}, has}, std::move(alarms), total);
        },
        reply);
}

void AnswerAcknowledge(const StationView& station, const Question& question, const HttpReply& reply) {
    const auto body = BodyOf(question);
    const auto by = ShortTextIn(body, "by");
    const auto comment = ShortTextIn(body, "comment");
    if (station.IsFleet) {
        throw ProblemError(409, "alarms are acknowledged at the station whose they are, not in a fleet");
    }
    const auto event = station.Run.Acknowledge(question.Names[0], by, comment);
    if (!event) throw ProblemError(404, "no alarm " + question.Names[0] + " is on");
    reply(JsonResponse(AlarmJson(event->State())));
}

}  // namespace orvix::station
