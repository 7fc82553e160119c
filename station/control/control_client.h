#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "station/control/control_folder.h"

namespace orvix::station {

/// What one running station has answered.
struct ControlAnswer {
    pid_t Process = 0;
    std::string Text;
};

/// Asks all stations that use a data folder. Raises Error when none is running, and when one does not answer within the
/// limit or answers with an error.
std::vector<ControlAnswer> AskStations(const std::string& folder, const std::string& request,
                                       std::chrono::milliseconds limit);

}  // namespace orvix::station
