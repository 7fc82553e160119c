#pragma once

#include "platform/sqlite_connection.h"
#include "station/store/roll_up.h"

namespace orvix::station {

/// Roll-ups in a history: of temperatures in one table, of inputs in another. Rows span a minute or an hour.
class RollUpTable {
public:
    /// The connection outlives this.
    RollUpTable(platform::SqliteConnection& connection, bool isInputs);

    void Write(std::int64_t series, const MinuteFigures& minute);
    /// Makes hours of the minutes from one time to another, both at the begin of an hour; milliseconds since 1970.
    void MakeHours(std::int64_t series, std::int64_t from, std::int64_t until);

private:
    const bool m_IsInputs;
    platform::SqliteStatement m_Put;
    platform::SqliteStatement m_MakeHours;
};

/// The span of a row, in minutes.
inline constexpr std::int32_t kMinuteSpan = 1;
inline constexpr std::int32_t kHourSpan = 60;

/// A query for the sum of the rows of series ?1 with span ?2 from minute ?3 up to, but without, ?4: one row, for
/// FiguresOf.
std::string SumFigures(bool isInputs);
Figures FiguresOf(platform::SqliteStatement& row, bool isInputs);

}  // namespace orvix::station
