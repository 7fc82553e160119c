#include "station/commands/device_text.h"

#include "host/characters.h"
#include "station/model/text.h"

namespace orvix::station {

Json ToJson(const SeriesKey& key) {
    return {{"port", key.Port},
            {"address", key.Address},
            {"model", key.Model},
            {"name", key.Name},
            {"variable", key.Variable}};
}

std::string TableKey(const SeriesKey& key) {
    return Padded(Printable(key.Port), 14) + "  " + Padded(std::to_string(key.Address), 3) + "  " +
           Padded(Printable(key.Name), 26) + "  " + Padded(key.Variable, 11) + "  ";
}

std::string TableKeyHeading() {
    return Padded("port", 16) + Padded("", 5) + Padded("name", 28) + Padded("variable", 13);
}

}  // namespace orvix::station
