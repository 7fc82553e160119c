#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/sqlite_connection.h"
#include "station/json/json.h"
#include "station/model/alarm.h"
#include "station/model/history_query.h"

namespace orvix::station {

/// An alarm of a history. It may have been on when its station stopped: then it ended when that was last alive.
struct AlarmRow {
    AlarmState State;  ///< without a limit; the name is the latest that the device had
    bool StationStopped = false;
};

/// What is asked of the alarms of a history. Empty texts: any.
struct AlarmQuestion {
    enum class Which { All, On, Over };

    Which State = Which::All;
    std::string Port{};
    std::string Device{};  ///< its identifier
    Period Time{};         ///< they were on at some time of it
    bool NewestFirst = true;
    std::int64_t Limit = 1000;
    std::int64_t Offset = 0;
};

struct AlarmPage {
    std::vector<AlarmRow> Alarms;
    std::int64_t Total = 0;  ///< that fit the question, on all pages
};

/// `now` is the time up to which a station should have been running.
AlarmPage FindAlarms(platform::SqliteConnection& history, const AlarmQuestion& question, std::int64_t now);

/// What was on when the latest sessions ended, of each device and kind the newest; nothing when there is no history, or
/// it cannot be read.
std::vector<AlarmState> AlarmsLeftOn(const std::string& file);

/// The alarm of a session's number, as its row tells it: without an end when its station stopped before; nothing when
/// it has none.
std::optional<AlarmState> StoredAlarm(platform::SqliteConnection& history, const std::string& session,
                                      std::int64_t seq);

/// The row of an alarm; nothing when it has none.
std::optional<std::int64_t> RowOfAlarm(platform::SqliteConnection& history, const std::string& id);
/// The number in the id of an alarm.
std::int64_t SeqOfAlarm(const std::string& id);

/// The event "alarm".
Json ToJson(const AlarmRow& alarm);

}  // namespace orvix::station
