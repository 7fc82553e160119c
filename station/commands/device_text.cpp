#include "station/commands/device_text.h"

#include "host/characters.h"
#include "host/text.h"
#include "station/model/text.h"

namespace orvix::station {

Json ToJson(const SeriesKey& key) {
    return {{"port", key.Port},
            {"address", key.Address},
            {"model", key.Model},
            {"name", key.Name},
            {"variable", key.Variable}};
}

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

std::string TableKey(const SeriesKey& key) {
    return Padded(Printable(key.Port), 14) + "  " + Padded(std::to_string(key.Address), 3) + "  " +
           Padded(Printable(key.Name), 26) + "  " + Padded(key.Variable, 11) + "  ";
}

std::string TableKeyHeading() {
    return Padded("port", 16) + Padded("", 5) + Padded("name", 28) + Padded("variable", 13);
}

}  // namespace orvix::station
