#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "station/model/bus_setup.h"
#include "station/model/mqtt_setup.h"

namespace orvix::station {

/// Which good readings are recorded one by one.
struct ChangeSetup {
    bool OnlyChanges = false;  ///< else all
    double DeadBand = 0;       ///< a temperature that differs by more degrees from the latest one recorded is a change
    std::chrono::milliseconds LongestSilence{600'000};  ///< after it a reading is recorded in any case

    bool operator==(const ChangeSetup&) const = default;
};

/// How readings are kept.
struct HistorySetup {
    bool On = true;
    std::chrono::hours Keep{24 * 365};              ///< older readings are removed
    std::chrono::hours KeepRollUps{24 * 365 * 10};  ///< older minutes, hours and alarms are removed
    std::int64_t MostBytes =
        std::int64_t{1024} * 1024 * 1024;  ///< size of the file above which the oldest rows are removed
    ChangeSetup Record{};

    bool operator==(const HistorySetup&) const = default;
};

/// Where browsers and other programs ask a station, besides its local socket.
struct WebSetup {
    std::string Listen;              ///< address and port, "127.0.0.1:8080"; empty: nowhere
    std::string Tokens;              ///< file of the tokens; empty: there are none
    std::vector<std::string> Hosts;  ///< names that the station is known by
    bool Lines = false;              ///< whether the bytes on the lines are shown

    bool operator==(const WebSetup&) const = default;
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
    WebSetup Web;
    MqttSetup Mqtt;

    bool operator==(const StationSetup&) const = default;
};

}  // namespace orvix::station
