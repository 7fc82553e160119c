#include "station/store/alarm_query.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "host/error.h"
#include "host/text.h"
#include "station/model/clock.h"
#include "station/store/history_schema.h"

namespace orvix::station {
namespace {

using platform::SqliteConnection;
using platform::SqliteStatement;

// Alarms of layout 1 had no number.
constexpr char kWithoutNumber = 'r';

constexpr char kAlarmColumns[] =
    "a.id, s.uuid, a.seq, d.id, a.port, p.address, p.name, a.kind, a.from_ms, a.to_ms, a.value, a.text, "
    "a.acknowledged_ms, a.acknowledged_by, a.comment, ";

constexpr char kAlarmTables[] =
    " FROM alarms AS a LEFT JOIN sessions AS s ON s.id = a.session LEFT JOIN sessions AS h ON h.id = a.holder "
    "LEFT JOIN devices AS d ON d.number = a.device "
    "LEFT JOIN series AS p ON p.id = (SELECT max(id) FROM series WHERE device = a.device) ";

// Its station has said not long ago that it is alive.
constexpr char kAlarmIsOn[] = "(a.to_ms IS NULL AND coalesce(h.ended = 0 AND ?1 <= h.alive_ms + 3 * h.beat_ms, 0))";
static_assert(kMissedBeats == 3);

constexpr char kAlarmFits[] =
    "WHERE a.from_ms < ?2 AND coalesce(a.to_ms, iif(IS_ON, ?1, h.alive_ms), 0) >= ?3 AND ?4 IN ('', a.port) "
    "AND ?5 IN ('', d.id) AND ?6 IN (0, iif(IS_ON, 1, 2)) ";

SqliteStatement& BindQuestion(SqliteStatement& statement, const AlarmQuestion& question, std::int64_t now) {
    statement.Bind(1, now).Bind(2, question.Time.Until).Bind(3, question.Time.Since).Bind(4, question.Port);
    return statement.Bind(5, question.Device).Bind(6, static_cast<std::int32_t>(question.State));
}

AlarmRow AlarmIn(SqliteStatement& row) {
    enum Column {
        kRow,
        kSession,
        kSeq,
        kDevice,
        kPort,
        kAddress,
        kName,
        kKind,
        kFrom,
        kTo,
        kValue,
        kText,
        kKnownAt,
        kKnownBy,
        kComment,
        kIsOn,
        kAlive
    };
    AlarmRow alarm;
    auto& state = alarm.State;
    state = {.Alarm = row.IsNull(kSeq) ? kWithoutNumber + row.Text(kRow)
                                       : AlarmName(row.Text(kSession), row.LongNumber(kSeq)),
             .Port = row.Text(kPort),
             .Address = row.IsNull(kAddress) ? 0 : row.Number(kAddress),
             .Identifier = row.Text(kDevice),
             .Name = row.IsNull(kName) ? row.Text(kPort) : row.Text(kName),
             .Kind = row.Text(kKind),
             .Value = row.Real(kValue),
             .Limit = {},
             .Text = row.Text(kText),
             .Started = row.LongNumber(kFrom),
             .Ended = {},
             .Acknowledged = {}};
    alarm.StationStopped = row.IsNull(kTo) && row.Number(kIsOn) == 0;
    if (!row.IsNull(kTo)) state.Ended = row.LongNumber(kTo);
    if (alarm.StationStopped) state.Ended = row.LongNumber(kAlive);
    if (!row.IsNull(kKnownAt)) state.Acknowledged = {row.LongNumber(kKnownAt), row.Text(kKnownBy), row.Text(kComment)};
    return alarm;
}

}  // namespace

AlarmPage FindAlarms(SqliteConnection& history, const AlarmQuestion& question, std::int64_t now) {
    const auto sql = [](const std::string& text) { return ReplaceAll(text, "IS_ON", kAlarmIsOn); };
    AlarmPage page;
    SqliteStatement count(history, sql(std::string("SELECT count(*)") + kAlarmTables + kAlarmFits));
    BindQuestion(count, question, now).Step();
    page.Total = count.LongNumber(0);

    const std::string order = question.NewestFirst ? "DESC" : "ASC";
    SqliteStatement row(history,
                        sql(std::string("SELECT ") + kAlarmColumns + "IS_ON, h.alive_ms" + kAlarmTables + kAlarmFits +
                            "ORDER BY a.from_ms " + order + ", a.id " + order + " LIMIT ?7 OFFSET ?8"));
    BindQuestion(row, question, now).Bind(7, question.Limit).Bind(8, question.Offset);
    while (row.Step())
        page.Alarms.push_back(AlarmIn(row));
    return page;
}

std::vector<AlarmState> AlarmsLeftOn(const std::string& file) {
    std::vector<AlarmState> left;
    Attempt([&] {
        auto history = OpenHistoryReadOnly(file);
        SqliteStatement row(history, std::string("SELECT ") + kAlarmColumns + "1, 0" + kAlarmTables +
                                         "WHERE a.to_ms IS NULL ORDER BY a.from_ms DESC, a.id DESC");
        std::set<std::tuple<std::string, std::string, std::string>> seen;
        while (row.Step()) {
            const auto alarm = AlarmIn(row).State;
            if (seen.emplace(alarm.Identifier, alarm.Port, alarm.Kind).second) left.push_back(alarm);
        }
    });
    return left;
}

std::optional<AlarmState> StoredAlarm(SqliteConnection& history, const std::string& session, std::int64_t seq) {
    SqliteStatement row(history, std::string("SELECT ") + kAlarmColumns + "1, 0" + kAlarmTables +
                                     "WHERE a.session = (SELECT id FROM sessions WHERE uuid = ?) AND a.seq = ?");
    return row.Bind(1, session).Bind(2, seq).Step() ? std::make_optional(AlarmIn(row).State) : std::nullopt;
}

std::int64_t SeqOfAlarm(const std::string& id) {
    return LeadingNumber(id.substr(std::min(id.size(), id.find('-') + 1)));
}

std::optional<std::int64_t> RowOfAlarm(SqliteConnection& history, const std::string& id) {
    SqliteStatement row(history,
                        "SELECT a.id FROM alarms AS a JOIN sessions AS s ON s.id = a.session "
                        "WHERE a.seq = ?1 AND substr(s.uuid, 1, length(?2)) = ?2");
    row.Bind(1, SeqOfAlarm(id)).Bind(2, id.substr(0, id.find('-')));
    if (row.Step()) return row.LongNumber(0);
    SqliteStatement old(history, "SELECT id FROM alarms WHERE seq IS NULL AND ? = 'r' || id");
    if (old.Bind(1, id).Step()) return old.LongNumber(0);
    return std::nullopt;
}

Json ToJson(const AlarmRow& alarm) {
    Json object{{"time", IsoText(alarm.State.Started)}, {"event", "alarm"}};
    object.update(ToJson(alarm.State));
    if (alarm.StationStopped) object["station_stopped"] = true;
    return object;
}

}  // namespace orvix::station
