#include "station/mqtt/mqtt_failure.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <netdb.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

namespace orvix::station {
namespace {

constexpr int kFirstReason = MQTT_RC_UNSPECIFIED;

struct Reason {
    int Code;
    const char* Text;
};

constexpr Reason kReasons[] = {
    {MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION, "it does not speak MQTT 5, which is needed"},
    {MQTT_RC_CLIENTID_NOT_VALID, "it does not take the station's name: set another mqtt.station"},
    {MQTT_RC_BAD_USERNAME_OR_PASSWORD,
     "it does not know this user or password: look at mqtt.user and mqtt.password_file"},
    {MQTT_RC_NOT_AUTHORIZED, "it refuses the login: look at mqtt.user and mqtt.password_file"},
    {MQTT_RC_SERVER_SHUTTING_DOWN, "it is shutting down"},
    {MQTT_RC_SESSION_TAKEN_OVER,
     "another client has connected under the same name: give each station a mqtt.station of its own"},
};

/// "error:0A000086:SSL routines::certificate verify failed" as its last part.
std::string TlsText(const std::string& log) {
    const auto colon = log.rfind(':');
    const auto last = colon == std::string::npos ? std::string_view(log) : std::string_view(log).substr(colon + 1);
    const auto begin = last.find_first_not_of(' ');
    return std::string(begin == std::string_view::npos ? "the handshake failed" : last.substr(begin));
}

std::string WhyNoTls(const std::string& log, const MqttSetup& setup) {
    // The library says this of it, before it says that the verification has failed.
    if (log.find("host name verification") != std::string::npos) {
        return "TLS: its certificate is not for " + setup.Broker.Host;
    }
    const auto text = TlsText(log);
    std::string cure;
    if (text.find("certificate verify failed") != std::string::npos) {
        cure = ": its certificate is not signed by " + (setup.Ca.empty() ? "an authority of the system" : setup.Ca) +
               ", or not valid now";
    } else if (text.find("wrong version") != std::string::npos || text.find("unexpected eof") != std::string::npos) {
        cure = ": is this port one for TLS?";
    } else if (text.find("certificate required") != std::string::npos) {
        cure = ": set mqtt.cert and mqtt.key";
    }
    return "TLS: " + text + cure;
}

std::string WhyLost(const MqttFailure& failure, const MqttSetup& setup) {
    if (failure.WasUp) return "it has closed the connection, as it does when another client comes with the same name";
    return setup.Broker.Tls ? "it closes the connection before the login"
                            : "it closes the connection before the login; does the port want TLS, mqtts://?";
}

}  // namespace

std::string WhyFailed(const MqttFailure& failure, const MqttSetup& setup) {
    const auto known = std::find_if(std::begin(kReasons), std::end(kReasons),
                                    [&](const Reason& reason) { return reason.Code == failure.Code; });
    if (failure.Code >= kFirstReason) {
        return known != std::end(kReasons) ? known->Text : mosquitto_reason_string(failure.Code);
    }
    if (setup.Broker.Tls && !failure.WasUp && !failure.Log.empty()) return WhyNoTls(failure.Log, setup);
    switch (failure.Code) {
        case MOSQ_ERR_EAI:
            return "its name cannot be looked up: " + std::string(::gai_strerror(failure.SystemCode));
        case MOSQ_ERR_ERRNO:
            return std::strerror(failure.SystemCode);
        case MOSQ_ERR_KEEPALIVE:
            return "it does not answer";
        case MOSQ_ERR_CONN_LOST:
            return WhyLost(failure, setup);
        default:
            return mosquitto_strerror(failure.Code);
    }
}

bool IsTooLarge(int reason) {
    return reason == MQTT_RC_PACKET_TOO_LARGE;
}

std::string WhyNotTaken(int reason, const MqttSetup& setup) {
    std::string text = reason >= kFirstReason ? mosquitto_reason_string(reason) : mosquitto_strerror(reason);
    if (reason != MQTT_RC_NOT_AUTHORIZED) return text;
    return text + ": let " + (setup.User.empty() ? "clients without a user" : "user " + setup.User) + " write there";
}

}  // namespace orvix::station
