#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "station/door/control_folder.h"

namespace orvix::station {

/// What one running station has answered.
struct ControlAnswer {
    pid_t Process = 0;  ///< 0 when it cannot be told
    std::string Text;
    std::string Failure;  ///< why there is no text, in a sentence; empty when there is
};

/// Asks all stations that use a data folder, each for so long at most. Raises Error when none is running.
std::vector<ControlAnswer> AskStations(const std::string& folder, const std::string& request,
                                       std::chrono::milliseconds limit);

}  // namespace orvix::station
