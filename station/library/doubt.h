#pragma once

#include "station/model/bus_setup.h"
#include "station/model/exchange.h"
#include "station/model/reading.h"

namespace orvix::station {

/// Why the value of a reading may be wrong although its answer passed the checks. `exchange`: which brought it; null
/// when that is not known.
Doubt DoubtOf(const Reading& reading, const Exchange* exchange, const Plausibility& plausible);

}  // namespace orvix::station
