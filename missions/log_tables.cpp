#include "missions/log_tables.h"

#include <cmath>
#include <utility>
#include <vector>

#include "host/text.h"

namespace orvix {

RecordSetRef CreateLogRecordset(bool isGraph) {
    std::vector<FieldDefinition> fields{
        {"ChartTime", FieldType::Char, 14}, {"TimeVal", FieldType::Char, 17}, {"Temp", FieldType::Currency},
        {"HIAlarm", FieldType::Currency},   {"LOAlarm", FieldType::Currency},
    };
    if (!isGraph) {
        fields.push_back({"isHIAlarm", FieldType::Boolean});
        fields.push_back({"isLOAlarm", FieldType::Boolean});
    }
    return std::make_shared<RecordSet>(std::move(fields));
}

float RoundToDecimal(float sample) {
    // Ten times a single is exact in double precision. Adding zero turns a rounded -0 into 0, which shows no sign.
    const double tenths = std::nearbyint(static_cast<double>(sample) * 10.0) + 0.0;
    return static_cast<float>(tenths / 10.0);
}

LogRow MakeLogRow(Date time, float sample, const std::optional<AlarmLimits>& limits) {
    LogRow row;
    row.TimeVal = Format(time, "dd/mm/yy hh:nn:ss");
    // The chart shows the year that the two digits of the text stand for.
    row.ChartTime = DateToChartTime(ParseSampleTime(row.TimeVal));
    row.Temp = RoundToDecimal(sample);
    row.IsHigh = limits && row.Temp >= limits->High;
    row.IsLow = limits && row.Temp <= limits->Low;
    return row;
}

std::string AlarmInfo(const std::string& deviceName, const LogRow& row) {
    const std::string date = row.TimeVal.substr(0, 8);
    const std::string time = row.TimeVal.substr(9, 5);
    return "Alarm " + deviceName + " temp: " + NumberText(row.Temp) + "C      date: " + date + "  time: " + time;
}

LogWriter::LogWriter(RecordSet& table, bool isGraph, const std::optional<AlarmLimits>& limits)
    : m_Table(table),
      m_TimeVal(table.ColumnOf("timeVal")),
      m_ChartTime(table.ColumnOf("ChartTime")),
      m_Temp(table.ColumnOf("temp")),
      m_LimitColumns{table.ColumnOf("HiAlarm"), table.ColumnOf("LoAlarm")},
      m_Limits(limits) {
    if (!isGraph) m_Flags = {table.ColumnOf("isHIAlarm"), table.ColumnOf("isLOAlarm")};
}

void LogWriter::Append(const LogRow& row) {
    m_Table.AddNew();
    m_Table.Set(m_TimeVal, row.TimeVal);
    m_Table.Set(m_ChartTime, row.ChartTime);
    m_Table.Set(m_Temp, Currency::FromDouble(row.Temp));
    if (m_Limits) {
        m_Table.Set(m_LimitColumns.High, Currency::FromDouble(m_Limits->High));
        m_Table.Set(m_LimitColumns.Low, Currency::FromDouble(m_Limits->Low));
    }
    if (m_Flags) {
        m_Table.Set(m_Flags->High, row.IsHigh);
        m_Table.Set(m_Flags->Low, row.IsLow);
    }
    m_Table.Update();
}

}  // namespace orvix
