#pragma once

#include <optional>
#include <string>

namespace orvix::station {

/// Where an MQTT broker listens.
struct BrokerAddress {
    std::string Host;  ///< name or numeric address
    int Port = 0;
    bool Tls = false;

    bool operator==(const BrokerAddress&) const = default;
};

/// What to say about a text of another form than those of ParseBroker.
inline constexpr char kBrokerForm[] =
    "write mqtt://HOST or, with TLS, mqtts://HOST, with :PORT when it is another than "
    "1883 and 8883";

/// "mqtt://HOST", "mqtts://HOST:PORT", with a numeric IPv6 address in brackets; nothing for a text of another form.
std::optional<BrokerAddress> ParseBroker(const std::string& url);

/// Whether a text can be a level of a topic: not empty, without "/", "+" and "#".
bool IsTopicLevel(const std::string& text);

/// How a station reports to an MQTT broker. File names are absolute paths, empty ones are not used.
struct MqttSetup {
    BrokerAddress Broker;          ///< without a host: there is none
    std::string Station;           ///< in topics; empty: one is made up
    std::string Topic = "nimbo1";  ///< levels before it
    std::string User;
    std::string PasswordFile;
    std::string Ca;              ///< certificates that the broker's is checked against; empty: the system's
    std::string Cert;            ///< of the station
    std::string Key;             ///< of Cert
    bool HomeAssistant = false;  ///< tell Home Assistant which devices there are
    std::string DiscoveryPrefix = "homeassistant";  ///< levels before what it is told

    /// Begin of all topics of the station.
    std::string Begin() const { return Topic + "/" + Station + "/"; }

    bool IsOn() const { return !Broker.Host.empty(); }
    bool operator==(const MqttSetup&) const = default;
};

}  // namespace orvix::station
