#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "station/model/bus_setup.h"

namespace orvix::station {

/// The least time in which every device of a bus is read once: each exchange on the line, and the ticks of the
/// connection loop around it. Devices that take their time to answer add to it.
std::chrono::milliseconds RoundTime(const BusSetup& bus);

/// Raises a period that is too short for the devices of the bus to the best that is possible, in steps of 10 ms.
/// Returns the sentence that says so: "14 devices that answer need 0.47 s a round at 9600 baud; 460 ms is not
/// possible"; nothing when the period is long enough.
std::optional<std::string> FitPeriod(BusSetup& bus);

}  // namespace orvix::station
