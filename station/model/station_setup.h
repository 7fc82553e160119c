#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "station/model/bus_setup.h"

namespace orvix::station {

/// How readings are kept.
struct HistorySetup {
    bool On = true;
    std::chrono::hours Keep{24 * 365};  ///< older rows are removed
    std::int64_t MostBytes =
        std::int64_t{1024} * 1024 * 1024;  ///< size of the file above which the oldest rows are removed

    bool operator==(const HistorySetup&) const = default;
};

/// Everything that a running station is told: by its configuration file, its command line, or both.
struct StationSetup {
    std::string Data;  ///< folder of the database and of what is recorded; empty: the user's data folder
    std::vector<BusSetup> Buses;
    HistorySetup History;
    /// Program and arguments to run when an alarm starts or ends; empty: none.
    std::vector<std::string> OnAlarm;
    /// Host and port at which metrics are offered, "127.0.0.1:9400"; empty: nowhere.
    std::string Metrics;

    bool operator==(const StationSetup&) const = default;
};

}  // namespace orvix::station
