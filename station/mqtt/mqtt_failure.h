#pragma once

#include <string>

#include "host/error.h"
#include "station/model/mqtt_setup.h"

namespace orvix::station {

/// The steps on the way to a broker, in their order.
enum class MqttStep {
    Name,         ///< it is looked up
    Tcp,          ///< it is connected to
    Tls,          ///< what is there speaks TLS
    Certificate,  ///< it is the broker that was meant
    Login,        ///< it takes the station
    Rights,       ///< it lets the station write and read
    Topic,        ///< what is written arrives
};

/// "name", "TCP", "TLS", "certificate", "login", "rights" or "topic".
const char* NameOf(MqttStep step);

/// Why there is no connection, or no longer; at which step.
class MqttError : public Error {
public:
    MqttError(MqttStep step, std::string description)
        : Error(errors::General, std::move(description), "MQTT"), Step(step) {}

    MqttStep Step;
};

/// What the client library knows of the end of a connection.
struct MqttFailure {
    int Code = 0;              ///< of the library, or from 128 on a reason that the broker gave, as MQTT 5 has them
    int SystemCode = 0;        ///< errno at that time
    bool WasThere = false;     ///< there was a connection of TCP
    bool HasAnswered = false;  ///< something has come, not of TLS
    bool WasUp = false;        ///< the broker had taken the station
    bool IsSecure = false;     ///< TLS had begun, with a certificate that is right
    std::string Log;           ///< what the library said of errors, in lines; may be empty
};

/// Why a connection failed and what helps, a sentence without its end.
MqttError WhyFailed(const MqttFailure& failure, const MqttSetup& setup);

/// Whether the broker would take a smaller message.
bool IsTooLarge(int reason);

/// The reason of MQTT 5 that says the same as the answer of a broker of 3.1.1 to a login; 0 for success.
int ReasonOfOlder(int answer);

/// Why the broker does not take a message, or does not let the station read, the same. `reason`: of MQTT 5, or of the
/// library. `right`: what is to be allowed: "write" or "read".
std::string WhyRefused(int reason, const MqttSetup& setup, const char* right);

}  // namespace orvix::station
