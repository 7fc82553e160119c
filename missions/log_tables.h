#pragma once

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

/// Without limits no sample alarms.
LogRow MakeLogRow(Date time, float sample, const std::optional<AlarmLimits>& limits);

/// "Alarm <device> temp: <degrees>C      date: dd/mm/yy  time: hh:nn".
std::string AlarmInfo(const std::string& deviceName, const LogRow& row);

/// Appends rows to a log table, its columns looked up once. Without limits the limit columns stay null.
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
