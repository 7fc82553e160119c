#include "missions/log_tables.h"

#include <cmath>
#include <iterator>
#include <utility>
#include <vector>

#include "host/text.h"

namespace orvix {

namespace {

/// Where the time of day begins in the texts of a row.
constexpr std::size_t kTimeInTimeVal = 9;
constexpr std::size_t kTimeInChartTime = 8;

void PutTwoDigits(char* place, int number) {
    place[0] = static_cast<char>('0' + number / 10);
    place[1] = static_cast<char>('0' + number % 10);
}

}  // namespace

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

const LogRow& LogRowMaker::Make(Date time, float sample) {
    SetTime(time);
    m_Row.Temp = RoundToDecimal(sample);
    m_Row.IsHigh = m_Limits && m_Row.Temp >= m_Limits->High;
    m_Row.IsLow = m_Limits && m_Row.Temp <= m_Limits->Low;
    return m_Row;
}

void LogRowMaker::SetTime(Date time) {
    const DayAndSecond split = ToDayAndSecond(time);
    if (m_Day != split.Day) {
        m_Row.TimeVal = Format(time, "dd/mm/yy hh:nn:ss");
        m_Row.ChartTime = DateToChartTime(time);
        m_Day = split.Day;
        return;
    }
    const int parts[] = {split.Second / 3600, split.Second / 60 % 60, split.Second % 60};
    for (std::size_t i = 0; i < std::size(parts); ++i) {
        PutTwoDigits(&m_Row.TimeVal[kTimeInTimeVal + 3 * i], parts[i]);
        PutTwoDigits(&m_Row.ChartTime[kTimeInChartTime + 2 * i], parts[i]);
    }
}

std::string AlarmInfo(const std::string& deviceName, const LogRow& row) {
    const std::string date = row.TimeVal.substr(0, 8);
    const std::string time = row.TimeVal.substr(kTimeInTimeVal, 5);
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
    m_Table.AddNewAlike();
    // All rows have the same limits.
    if (m_Limits && m_Table.RecordCount() == 0) {
        m_Table.Set(m_LimitColumns.High, Currency::FromDouble(m_Limits->High));
        m_Table.Set(m_LimitColumns.Low, Currency::FromDouble(m_Limits->Low));
    }
    m_Table.Set(m_TimeVal, row.TimeVal);
    m_Table.Set(m_ChartTime, row.ChartTime);
    m_Table.Set(m_Temp, Currency::FromDouble(row.Temp));
    if (m_Flags) {
        m_Table.Set(m_Flags->High, row.IsHigh);
        m_Table.Set(m_Flags->Low, row.IsLow);
    }
    m_Table.Update();
}

}  // namespace orvix
