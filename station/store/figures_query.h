#pragma once

#include "platform/sqlite_connection.h"
#include "station/model/history_query.h"
#include "station/store/roll_up_table.h"
#include "station/store/stored_device.h"

namespace orvix::station {

/// Sums up the readings of one device: hours where they are whole, minutes around them, and single readings where there
/// is no whole minute, or not yet.
class FiguresQuery {
public:
    /// Connection and device outlive this.
    FiguresQuery(platform::SqliteConnection& connection, const StoredDevice& device);

    /// What the readings of a period come to: exact where they are kept one by one; else, and for inputs, the minutes
    /// in which it begins and ends are taken whole.
    Figures Of(const Period& period);

private:
    Figures OfSeries(const StoredSeries& series, const Period& period);
    /// Whole spans that begin within a time that is whole spans itself.
    Figures Spans(const StoredSeries& series, std::int32_t span, std::int64_t from, std::int64_t until);
    Figures Minutes(const StoredSeries& series, std::int64_t from, std::int64_t until);
    Figures Single(const StoredSeries& series, std::int64_t from, std::int64_t until);

    platform::SqliteConnection& m_Connection;
    const StoredDevice& m_Device;
    platform::SqliteStatement m_Spans;
};

}  // namespace orvix::station
