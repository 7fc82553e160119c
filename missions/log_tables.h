#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/date.h"
#include "host/record_set.h"

namespace orvix {

/// Limits that a sample alarms at, both inclusive, in degrees Celsius.
struct AlarmLimits {
    float High = 0;
    float Low = 0;
};

/// One sample as the tables show it.
struct LogRow {
    std::string TimeVal;    ///< "dd/mm/yy hh:nn:ss"
    std::string ChartTime;  ///< yyyymmddhhnnss
    float Temp = 0;         ///< degrees Celsius, rounded to one decimal
    bool IsHigh = false;
    bool IsLow = false;
};

/// An empty log table; one for charting has no alarm flags.
RecordSetRef CreateLogRecordset(bool isGraph);

/// Rounds to one decimal. The decision is made on the exact value of the single, so only what lies exactly between two
/// decimals counts as a half and goes to the even one: 20.25 gives 20.2, while 20.45, as a single a little more than
/// that, gives 20.5.
float RoundToDecimal(float sample);

/// Makes the rows of a log. The dates in the texts are put in words once a day; within a day only the digits of the
/// time change.
class LogRowMaker {
public:
    /// Without limits no sample alarms.
    explicit LogRowMaker(const std::optional<AlarmLimits>& limits) : m_Limits(limits) {}

    /// The row of a sample, until the next one is made. Raises Overflow for a time outside the years 100 to 9999.
    const LogRow& Make(Date time, float sample);

private:
    void SetTime(Date time);

    std::optional<AlarmLimits> m_Limits;
    std::optional<std::int64_t> m_Day;  ///< that the row's texts have
    LogRow m_Row;
};

/// "Alarm <device> temp: <degrees>C      date: dd/mm/yy  time: hh:nn".
std::string AlarmInfo(const std::string& deviceName, const LogRow& row);

/// Appends rows to an empty log table, its columns looked up once. Without limits the limit columns stay null.
class LogWriter {
public:
    LogWriter(RecordSet& table, bool isGraph, const std::optional<AlarmLimits>& limits);

    /// Raises Overflow for a temperature or a limit that is no number or too large for the table.
    void Append(const LogRow& row);

private:
    struct Columns {
        RecordSet::Column High, Low;
    };

    RecordSet& m_Table;
    RecordSet::Column m_TimeVal;
    RecordSet::Column m_ChartTime;
    RecordSet::Column m_Temp;
    Columns m_LimitColumns;
    std::optional<AlarmLimits> m_Limits;
    std::optional<Columns> m_Flags;
};

}  // namespace orvix
