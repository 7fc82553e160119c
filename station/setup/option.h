#pragma once

#include <functional>
#include <span>

#include "station/model/station_setup.h"
#include "station/setup/value.h"

namespace orvix::station {

/// A row of a table of options, from which command line and configuration file both fill one structure.
template <class Target>
struct Option {
    const char* Key;   ///< in the configuration file, behind the name of its table: "history.keep"; null: not there
    const char* Name;  ///< at the command line: "--retries"; null: not there
    const char* Type;  ///< what help calls its value; null: a flag
    const char* Help;
    void (*Read)(const Value& value, Target& target);
};

/// What is said of one bus. At the command line it holds for every bus.
std::span<const Option<BusSetup>> BusOptionTable();
/// What is said of the station as a whole.
std::span<const Option<StationSetup>> StationOptionTable();

/// What was said, to be put into a setup.
template <class Target>
using Said = std::vector<std::function<void(Target&)>>;

template <class Target>
void Apply(const Said<Target>& said, Target& target) {
    for (const auto& one : said)
        one(target);
}

}  // namespace orvix::station
