#include "station/mqtt/mqtt_failure.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <netdb.h>

#include <algorithm>
#include <cerrno>
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

constexpr const char* kStepNames[] = {"name", "TCP", "TLS", "certificate", "login", "rights", "topic"};

constexpr Reason kReasons[] = {
    {MQTT_RC_CLIENTID_NOT_VALID, "it does not take the station's name: set another mqtt.station"},
    {MQTT_RC_BAD_USERNAME_OR_PASSWORD,
     "it does not know this user or password: look at mqtt.user and mqtt.password_file"},
    {MQTT_RC_NOT_AUTHORIZED, "it refuses the login: look at mqtt.user and mqtt.password_file"},
    {MQTT_RC_SERVER_UNAVAILABLE, "it takes nobody just now"},
    {MQTT_RC_SERVER_SHUTTING_DOWN, "it is shutting down"},
    {MQTT_RC_RETAIN_NOT_SUPPORTED, "it keeps no messages for those who ask later: have it allow retained ones"},
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

MqttError WhyNoTls(const std::string& log, const MqttSetup& setup) {
    // The library says this of it, before it says that the verification has failed.
    if (log.find("host name verification") != std::string::npos) {
        return {MqttStep::Certificate, "TLS: its certificate is not for " + setup.Broker.Host};
    }
    const auto text = TlsText(log);
    const auto is = [&](const char* words) { return text.find(words) != std::string::npos; };
    if (is("certificate verify failed")) {
        return {MqttStep::Certificate, "TLS: " + text + ": its certificate is not signed by " +
                                           (setup.Ca.empty() ? "an authority of the system" : setup.Ca) +
                                           ", or not valid now: look at mqtt.ca, at the days of the certificate and "
                                           "at the clock of this machine"};
    }
    if (is("wrong version") || is("unexpected eof")) {
        return {MqttStep::Tls, "TLS: " + text + ": is this port one for TLS?"};
    }
    if (is("certificate required") || is("handshake failure")) {
        return {MqttStep::Certificate, "TLS: " + text + ": it wants one of the station: set mqtt.cert and mqtt.key"};
    }
    if (is("unknown ca") || is("bad certificate") || is("certificate expired") || is("decrypt error")) {
        return {MqttStep::Certificate, "TLS: " + text + ": it does not take the station's: look at mqtt.cert"};
    }
    return {log.find("ertificate") == std::string::npos ? MqttStep::Tls : MqttStep::Certificate, "TLS: " + text};
}

/// Of the end of a connection the library leaves what the system has said of something else, or nothing.
bool IsOfNetwork(int systemCode) {
    constexpr int kCodes[] = {ETIMEDOUT, EHOSTUNREACH, ENETUNREACH, ENETDOWN};
    return std::find(std::begin(kCodes), std::end(kCodes), systemCode) != std::end(kCodes);
}

MqttError WhyNoTcp(const MqttFailure& failure, const MqttSetup& setup) {
    return {MqttStep::Tcp,
            std::string(std::strerror(failure.SystemCode)) +
                (failure.SystemCode == ECONNREFUSED
                     ? ": is the broker running, and is " + std::to_string(setup.Broker.Port) + " its port?"
                     : ": is the machine on, and the network there?")};
}

MqttError WhyNoMqtt(MqttStep step) {
    return {step, "what answers there does not speak MQTT as it should: is the port the right one?"};
}

MqttError WhyLost(const MqttFailure& failure, const MqttSetup& setup) {
    if (failure.WasUp) {
        return {MqttStep::Rights,
                "it has closed the connection, as it does when another client comes with the same name"};
    }
    if (failure.HasAnswered) return WhyNoMqtt(MqttStep::Login);
    const std::string older = setup.Speaks5 ? "; or does it want mqtt.version = \"3.1.1\"?" : "";
    if (!setup.Broker.Tls) {
        return {MqttStep::Login,
                "it closes the connection before the login; does the port want TLS, mqtts://?" + older};
    }
    if (!failure.IsSecure && failure.SystemCode != EPROTO) {
        return {MqttStep::Tls, "it closes the connection before TLS begins"};
    }
    return {MqttStep::Certificate,
            "it closes the connection when TLS has begun, as it does when it " +
                std::string(setup.Cert.empty() ? "wants a certificate of the station: set mqtt.cert and mqtt.key"
                                               : "does not take the station's: look at mqtt.cert") +
                older};
}

MqttError WhyRefusedByBroker(const MqttFailure& failure, const MqttSetup& setup) {
    const auto step = failure.WasUp ? MqttStep::Rights : MqttStep::Login;
    if (failure.Code == MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION) {
        return {step, setup.Speaks5 ? "it does not speak MQTT 5: set mqtt.version to \"3.1.1\""
                                    : "it does not speak MQTT 3.1.1: leave mqtt.version out"};
    }
    const auto known = std::find_if(std::begin(kReasons), std::end(kReasons),
                                    [&](const Reason& reason) { return reason.Code == failure.Code; });
    return {step, known != std::end(kReasons) ? known->Text : mosquitto_reason_string(failure.Code)};
}

}  // namespace

const char* NameOf(MqttStep step) {
    return kStepNames[static_cast<std::size_t>(step)];
}

MqttError WhyFailed(const MqttFailure& failure, const MqttSetup& setup) {
    if (failure.Code >= kFirstReason) return WhyRefusedByBroker(failure, setup);
    const bool isBeforeTls = setup.Broker.Tls && !failure.WasUp;
    if (isBeforeTls && !failure.Log.empty()) return WhyNoTls(failure.Log, setup);
    const auto step = failure.WasUp                      ? MqttStep::Rights
                      : isBeforeTls && !failure.IsSecure ? MqttStep::Tls
                                                         : MqttStep::Login;
    switch (failure.Code) {
        case MOSQ_ERR_EAI:
            return {MqttStep::Name, "its name cannot be looked up: " + std::string(::gai_strerror(failure.SystemCode)) +
                                        ": look at mqtt.broker, and at the name servers of this machine"};
        case MOSQ_ERR_ERRNO:
            // EPROTO is the library's own, of TLS that has begun.
            if (!failure.WasThere && failure.SystemCode != EPROTO) return WhyNoTcp(failure, setup);
            if (!IsOfNetwork(failure.SystemCode)) return WhyLost(failure, setup);
            return {step, std::strerror(failure.SystemCode)};
        case MOSQ_ERR_KEEPALIVE:
            return {step, "it does not answer"};
        case MOSQ_ERR_CONN_LOST:
            return WhyLost(failure, setup);
        case MOSQ_ERR_PROTOCOL:
        case MOSQ_ERR_MALFORMED_PACKET:
            return WhyNoMqtt(step);
        default:
            return {step, mosquitto_strerror(failure.Code)};
    }
}

bool IsTooLarge(int reason) {
    return reason == MQTT_RC_PACKET_TOO_LARGE;
}

int ReasonOfOlder(int answer) {
    constexpr int kReasonOf[] = {0,
                                 MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION,
                                 MQTT_RC_CLIENTID_NOT_VALID,
                                 MQTT_RC_SERVER_UNAVAILABLE,
                                 MQTT_RC_BAD_USERNAME_OR_PASSWORD,
                                 MQTT_RC_NOT_AUTHORIZED};
    const auto index = static_cast<std::size_t>(answer);
    return index < std::size(kReasonOf) ? kReasonOf[index] : kFirstReason;
}

std::string WhyRefused(int reason, const MqttSetup& setup, const char* right) {
    std::string text = reason >= kFirstReason ? mosquitto_reason_string(reason) : mosquitto_strerror(reason);
    // To a subscription, a broker of 3.1.1 tells no reason.
    if (reason != MQTT_RC_NOT_AUTHORIZED && (setup.Speaks5 || reason != kFirstReason)) return text;
    return text + ": let " + (setup.User.empty() ? "clients without a user " : "user " + setup.User + " ") + right +
           " there";
}

}  // namespace orvix::station
