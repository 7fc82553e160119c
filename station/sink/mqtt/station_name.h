#pragma once

#include <functional>
#include <string>

namespace orvix::station {

/// What a station is called in topics when nobody has named it: the host's name and four random characters, made once
/// and kept in the file "mqtt-station" of the data folder, which ends with "/". `tell` is called when it cannot be
/// kept.
std::string KeptStationName(const std::string& folder, const std::function<void(const std::string&)>& tell);

/// The same for a trial: a name that is not there yet is made up, but not kept.
std::string StationNameToTry(const std::string& folder);

}  // namespace orvix::station
