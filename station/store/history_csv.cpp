#include "station/store/history_csv.h"

#include "host/characters.h"
#include "host/text.h"
#include "station/model/clock.h"
#include "station/model/text.h"

namespace orvix::station {

std::string CsvText(const std::string& raw) {
    auto text = Printable(raw);
    // A spreadsheet would take it for a formula and do what it says.
    if (text.find_first_of("=+-@\t") == 0) text.insert(0, 1, '\'');
    if (text.find_first_of(",\"") == std::string::npos) return text;
    return "\"" + ReplaceAll(text, "\"", "\"\"") + "\"";
}

std::string CsvKey(const SeriesKey& key) {
    return CsvText(key.Port) + "," + std::to_string(key.Address) + "," + CsvText(key.Name) + "," + key.Variable + ",";
}

const char* QualityOf(const HistoryRow& row) {
    if (row.Why != Doubt::None) return "doubtful";
    return NameOf(row.IsGap() ? Quality::Offline : Quality::Good);
}

std::string ReasonOf(const HistoryRow& row) {
    return row.Reason.Code == 0 ? row.Reason.Text : FailureText(row.Reason);
}

/// Millions of rows are of the same few devices.
void HistoryCsv::Append(std::string& text, const HistoryRow& row) {
    if (row.Device != m_Device) {
        m_Device = row.Device;
        m_Key = "," + CsvKey(row.Device->Key);
    }
    AppendIsoText(text, row.Time);
    text += m_Key;
    if (!row.IsGap()) {
        text.append(ValueText(row.Value)).append(",").append(QualityOf(row)).append(",,,\n");
        return;
    }
    text.append(",").append(QualityOf(row)).append(",").append(IsoText(row.Until)).append(",");
    text.append(std::to_string(row.Count)).append(",").append(CsvText(ReasonOf(row))).append("\n");
}

}  // namespace orvix::station
