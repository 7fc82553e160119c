#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace orvix::station {

/// Where an MQTT broker listens.
struct BrokerAddress {
    std::string Host;  ///< name or numeric address
    int Port = 0;
    bool Tls = false;

    /// "HOST:PORT".
    std::string Name() const { return Host + ":" + std::to_string(Port); }
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

/// For so long a broker can ask again for what it has acknowledged, unless configured.
inline constexpr std::chrono::hours kResend{24 * 7};

/// How a station reports to an MQTT broker. File names are absolute paths, empty ones are not used.
struct MqttSetup {
    BrokerAddress Broker;          ///< without a host: there is none
    bool Speaks5 = true;           ///< MQTT 5; else 3.1.1
    std::string Station;           ///< in topics; empty: one is made up
    std::string Topic = "nimbo1";  ///< levels before it
    std::string User;
    std::string PasswordFile;
    std::string Ca;                       ///< certificates that the broker's is checked against; empty: the system's
    std::string Cert;                     ///< of the station
    std::string Key;                      ///< of Cert
    bool Backfill = true;                 ///< carry what is recorded, too, also what was while the broker was away
    std::chrono::hours Resend = kResend;  ///< for so long what it has acknowledged can be asked for again
    bool HomeAssistant = false;           ///< tell Home Assistant which devices there are
    std::string DiscoveryPrefix = "homeassistant";  ///< levels before what it is told

    /// Begin of all topics of the station.
    std::string Begin() const { return Topic + "/" + Station + "/"; }

    bool IsOn() const { return !Broker.Host.empty(); }
    bool operator==(const MqttSetup&) const = default;
};

}  // namespace orvix::station
