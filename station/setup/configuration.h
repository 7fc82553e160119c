#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "station/model/station_setup.h"

namespace orvix::station {

/// Everything that is wrong with a configuration, in the order of its lines; its text is these lines. Each names file,
/// line, column and key where there are any: "nimbo1.toml:7:9: bus[0].retries: write a whole number from 0 to 100".
class ConfigurationError : public std::runtime_error {
public:
    explicit ConfigurationError(std::vector<std::string> lines);
    const std::vector<std::string>& Lines() const { return m_Lines; }

private:
    std::vector<std::string> m_Lines;
};

/// Reads a configuration:
///
///   data = "DIR"
///   [[bus]]           port ("simulated": none), name, every, retries, timeout_factor, port_gone, driver_thread
///   [[bus.device]]    address, model, name, low, high, hysteresis, inputs = {BIT = true or false},
///                     hold_off (readings, or a time), silent, doubtful
///   [history]         on, keep, keep_rollups, record, dead_band, longest_silence, max_size
///   [metrics]         listen
///   [web]             listen, tokens, hosts = [...], lines
///   [mqtt]            broker, version, station, topic, user, password_file, ca, cert, key, backfill, resend,
///                     home_assistant, discovery_prefix
///   [alarms]          on_alarm
///
/// Only address and model must be there, and something at all. Spans of time are written as ParseTimeSpan reads them,
/// sizes with KB, MB or GB. Relative paths begin at the folder of the file. `name` is the text's name in errors. Raises
/// ConfigurationError.
StationSetup ParseConfiguration(std::string_view text, const std::string& name);

/// The same of a file. Raises ConfigurationError also for one that cannot be read.
StationSetup LoadConfiguration(const std::string& path);

/// The same of a fleet's: data, [metrics], [web], [alarms], and of [mqtt] what a connection needs; the broker must be
/// there.
StationSetup LoadFleetConfiguration(const std::string& path);

}  // namespace orvix::station
