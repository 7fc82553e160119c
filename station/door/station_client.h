#pragma once

#include <string>
#include <vector>

#include "station/http/http_client.h"

namespace orvix::station {

/// What one running station has answered.
struct StationAnswer {
    pid_t Process = 0;  ///< 0 when it cannot be told
    std::string Text;
    std::string Failure;  ///< why there is no text, in a sentence; empty when there is
};

/// Asks all stations of a data folder, those that are played too. `question` names no socket. Raises Error when none is
/// running.
std::vector<StationAnswer> AskStations(const std::string& folder, HttpQuestion question);

}  // namespace orvix::station
