#pragma once

#include <string>

#include "station/model/mqtt_setup.h"

namespace orvix::station {

/// What the client library knows of the end of a connection.
struct MqttFailure {
    int Code = 0;        ///< of the library, or from 128 on a reason that the broker gave
    int SystemCode = 0;  ///< errno at that time
    bool WasUp = false;  ///< the broker had taken the station
    std::string Log;     ///< what the library said of errors, in lines; may be empty
};

/// Why a connection failed and what helps, a sentence without its end.
std::string WhyFailed(const MqttFailure& failure, const MqttSetup& setup);

/// Whether the broker would take a smaller message.
bool IsTooLarge(int reason);

/// Why the broker does not take a message, the same.
std::string WhyNotTaken(int reason, const MqttSetup& setup);

}  // namespace orvix::station
