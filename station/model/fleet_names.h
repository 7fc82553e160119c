#pragma once

#include <string>

namespace orvix::station {

// A fleet is shown as one station. What its stations call their buses and devices may be the same, so in the fleet the
// station's name, which has no "/", goes before. Hence all that is found by the name of a bus or the id of a device is
// one bus and one device there, too.

/// A bus, "STATION/BUS".
inline std::string BusInFleet(const std::string& station, const std::string& bus) {
    return station + "/" + bus;
}

/// Of a bus that is called so.
inline std::string StationOfBus(const std::string& busInFleet) {
    return busInFleet.substr(0, busInFleet.find('/'));
}

/// A device, "STATION.ID".
inline std::string DeviceInFleet(const std::string& station, const std::string& id) {
    return station + "." + id;
}

}  // namespace orvix::station
