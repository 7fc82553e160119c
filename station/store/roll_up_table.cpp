#include "station/store/roll_up_table.h"

namespace orvix::station {
namespace {

using platform::SqliteConnection;
using platform::SqliteStatement;

// Without its key: how the table's values are called, and how those of several minutes become one.
struct Table {
    const char* Name;
    const char* Values;
    const char* Sums;
    const char* Parameters;
};

constexpr Table kTemperatures{"rollups", "count, doubtful, lowest, highest, sum",
                              "sum(count), sum(doubtful), min(lowest), max(highest), sum(sum)", "?, ?, ?, ?, ?"};
constexpr Table kInputs{
    "input_rollups", "count, doubtful, observed_ms, on1_ms, on2_ms, on3_ms, on4_ms, on5_ms, on6_ms, on7_ms, on8_ms",
    "sum(count), sum(doubtful), sum(observed_ms), sum(on1_ms), sum(on2_ms), sum(on3_ms), sum(on4_ms), sum(on5_ms), "
    "sum(on6_ms), sum(on7_ms), sum(on8_ms)",
    "?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?"};

const Table& TableOf(bool isInputs) {
    return isInputs ? kInputs : kTemperatures;
}

std::string PutInto(const Table& table) {
    return std::string("REPLACE INTO ") + table.Name + "(series, span, minute, " + table.Values + ") VALUES(?, ?, ?, " +
           table.Parameters + ")";
}

std::string MakeHoursIn(const Table& table) {
    return std::string("REPLACE INTO ") + table.Name + "(series, span, minute, " + table.Values +
           ") SELECT series, 60, minute / 60 * 60, " + table.Sums + " FROM " + table.Name +
           " WHERE series = ? AND span = 1 AND minute >= ? AND minute < ? GROUP BY minute / 60";
}

}  // namespace

RollUpTable::RollUpTable(SqliteConnection& connection, bool isInputs)
    : m_IsInputs(isInputs),
      m_Put(connection, PutInto(TableOf(isInputs))),
      m_MakeHours(connection, MakeHoursIn(TableOf(isInputs))) {}

void RollUpTable::Write(std::int64_t series, const MinuteFigures& minute) {
    const auto& figures = minute.Figures;
    m_Put.Bind(1, series).Bind(2, kMinuteSpan).Bind(3, minute.Minute).Bind(4, figures.Count).Bind(5, figures.Doubtful);
    if (m_IsInputs) {
        m_Put.Bind(6, figures.Observed);
        for (int input = 0; input < 8; ++input)
            m_Put.Bind(7 + input, figures.On[static_cast<std::size_t>(input)]);
    } else if (figures.Count > 0) {
        m_Put.Bind(6, figures.Lowest).Bind(7, figures.Highest).Bind(8, figures.Sum);
    } else {
        m_Put.BindNull(6).BindNull(7).BindNull(8);
    }
    m_Put.Run();
}

void RollUpTable::MakeHours(std::int64_t series, std::int64_t from, std::int64_t until) {
    m_MakeHours.Bind(1, series).Bind(2, from / kMinute).Bind(3, until / kMinute).Run();
}

std::string SumFigures(bool isInputs) {
    const auto& table = TableOf(isInputs);
    return std::string("SELECT ") + table.Sums + " FROM " + table.Name +
           " WHERE series = ?1 AND span = ?2 AND minute >= ?3 AND minute < ?4";
}

Figures FiguresOf(SqliteStatement& row, bool isInputs) {
    Figures figures;
    figures.Count = row.LongNumber(0);
    figures.Doubtful = row.LongNumber(1);
    if (isInputs) {
        figures.Observed = row.LongNumber(2);
        for (int input = 0; input < 8; ++input)
            figures.On[static_cast<std::size_t>(input)] = row.LongNumber(3 + input);
    } else {
        figures.Lowest = row.Real(2);
        figures.Highest = row.Real(3);
        figures.Sum = row.Real(4);
    }
    return figures;
}

}  // namespace orvix::station
