#include "station/mqtt/mqtt_connection.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "host/error.h"
#include "host/text.h"
#include "platform/regular_file.h"
#include "station/mqtt/mqtt_failure.h"

namespace orvix::station {
namespace {

// After twice this time without any answer the broker is gone.
constexpr int kKeepAliveSeconds = 15;
// Messages that arrive once or more are acknowledged, which tells how much the broker takes.
constexpr int kQos = 1;
constexpr std::size_t kLongestPassword = 64UL * 1024;
constexpr std::size_t kLongestLog = 4096;
// In one turn, so that who sends without end keeps nobody waiting.
constexpr int kMostRead = 256;
constexpr std::size_t kMostUnderWay = 100;
// A broker that answers, but acknowledges nothing for so long, keeps the station in vain.
constexpr std::chrono::seconds kLongestStandstill{30};
// Those that Debian keeps.
constexpr char kSystemCertificates[] = "/etc/ssl/certs";

const char* PointerOf(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

std::string PasswordIn(const std::string& file) {
    auto text = BytesToText(platform::ReadRegularFile(file, kLongestPassword));
    while (text.ends_with('\n') || text.ends_with('\r'))
        text.pop_back();
    return text;
}

void CheckReadable(const std::string& file) {
    if (!file.empty() && ::access(file.c_str(), R_OK) != 0) throw SystemError(file, errno);
}

/// The library would ask at the terminal for the password of a key.
int NoPassword(char*, int, int, void*) {
    return 0;
}

}  // namespace

void MqttConnection::Destroy::operator()(mosquitto* client) const {
    mosquitto_destroy(client);
}

MqttConnection::MqttConnection(const MqttSetup& setup, const std::string& client,
                               const std::optional<MqttMessage>& will)
    : m_Setup(setup), m_MostUnderWay(kMostUnderWay) {
    static const int initialised = mosquitto_lib_init();
    Check(initialised);
    m_Client.reset(mosquitto_new(client.c_str(), true, this));
    if (!m_Client) throw SystemError("the MQTT client", errno);
    SetUp(will);
}

MqttConnection::~MqttConnection() = default;

void MqttConnection::SetUp(const std::optional<MqttMessage>& will) {
    SetCallbacks();
    Check(mosquitto_int_option(m_Client.get(), MOSQ_OPT_PROTOCOL_VERSION,
                               m_Setup.Speaks5 ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311));
    Check(mosquitto_int_option(m_Client.get(), MOSQ_OPT_TCP_NODELAY, 1));
    if (will) {
        Check(mosquitto_will_set(m_Client.get(), will->Topic.c_str(), static_cast<int>(will->Payload.size()),
                                 will->Payload.data(), kQos, will->Retained));
    }
    try {
        SetUpLogin();
    } catch (const Error& error) {
        throw MqttError(MqttStep::Login, error.Description);
    }
    if (!m_Setup.Broker.Tls) return;
    try {
        SetUpTls();
    } catch (const Error& error) {
        throw MqttError(MqttStep::Certificate, error.Description);
    }
}

void MqttConnection::Connect() {
    Check(mosquitto_connect(m_Client.get(), m_Setup.Broker.Host.c_str(), m_Setup.Broker.Port, kKeepAliveSeconds));
    m_IsThere = true;
}

void MqttConnection::SetUpLogin() {
    if (m_Setup.User.empty()) return;
    const auto password = m_Setup.PasswordFile.empty() ? std::string() : PasswordIn(m_Setup.PasswordFile);
    Check(mosquitto_username_pw_set(m_Client.get(), m_Setup.User.c_str(), PointerOf(password)));
}

void MqttConnection::SetUpTls() {
    for (const auto& file : {m_Setup.Ca, m_Setup.Cert, m_Setup.Key})
        CheckReadable(file);
    Check(mosquitto_tls_set(m_Client.get(), PointerOf(m_Setup.Ca), m_Setup.Ca.empty() ? kSystemCertificates : nullptr,
                            PointerOf(m_Setup.Cert), PointerOf(m_Setup.Key), NoPassword));
}

void MqttConnection::SetCallbacks() {
    auto* client = m_Client.get();
    mosquitto_connect_v5_callback_set(client,
                                      [](mosquitto*, void* self, int reason, int, const mosquitto_property* all) {
                                          std::uint16_t most = 0;
                                          mosquitto_property_read_int16(all, MQTT_PROP_RECEIVE_MAXIMUM, &most, false);
                                          static_cast<MqttConnection*>(self)->OnConnect(reason, most);
                                      });
    mosquitto_disconnect_v5_callback_set(client, [](mosquitto*, void* self, int reason, const mosquitto_property*) {
        auto& given = static_cast<MqttConnection*>(self)->m_Reason;
        if (given == 0) given = reason;
    });
    mosquitto_publish_v5_callback_set(client,
                                      [](mosquitto*, void* self, int message, int reason, const mosquitto_property*) {
                                          static_cast<MqttConnection*>(self)->OnPublish(message, reason);
                                      });
    mosquitto_subscribe_v5_callback_set(
        client, [](mosquitto*, void* self, int message, int count, const int* granted, const mosquitto_property*) {
            if (count > 0) static_cast<MqttConnection*>(self)->OnSubscribe(message, granted[0]);
        });
    mosquitto_message_v5_callback_set(
        client, [](mosquitto*, void* self, const mosquitto_message* message, const mosquitto_property*) {
            static_cast<MqttConnection*>(self)->OnMessage(*message);
        });
    mosquitto_log_callback_set(client, [](mosquitto*, void* self, int level, const char* text) {
        auto& log = static_cast<MqttConnection*>(self)->m_Log;
        if (level == MOSQ_LOG_ERR && log.size() < kLongestLog) log.append("\n").append(text);
    });
}

void MqttConnection::OnConnect(int reason, std::uint16_t receiveMaximum) {
    m_IsUp = reason == 0;
    m_Reason = m_Setup.Speaks5 || reason >= MQTT_RC_UNSPECIFIED ? reason : ReasonOfOlder(reason);
    if (receiveMaximum > 0) m_MostUnderWay = std::min<std::size_t>(receiveMaximum, kMostUnderWay);
}

void MqttConnection::OnPublish(int message, int reason) {
    const auto handed = m_UnderWay.extract(message);
    if (!handed) return;
    m_AnsweredAt = std::chrono::steady_clock::now();
    const auto& [topic, isClear, number] = handed.mapped();
    if (number) --m_OrderedUnderWay;
    if (isClear) m_Cleared.push_back(topic);
    if (reason >= MQTT_RC_UNSPECIFIED) {
        Refused(handed.mapped(), reason);
    } else if (number) {
        m_Answered.emplace_back(*number, 0);
    }
}

/// Ordered messages are answered for by those who have given them.
void MqttConnection::Refused(const Handed& handed, int reason) {
    if (handed.Number) {
        m_Answered.emplace_back(*handed.Number, reason);
    } else {
        m_Refusal = "does not take " + handed.Topic + ": " + WhyRefused(reason, m_Setup, "write");
    }
}

void MqttConnection::OnSubscribe(int message, int granted) {
    const auto asked = m_Listening.extract(message);
    if (!asked || granted < MQTT_RC_UNSPECIFIED) return;
    m_Refusal = "does not let the station read " + asked.mapped() + ": " + WhyRefused(granted, m_Setup, "read");
}

/// A broker may send what nobody has asked for.
void MqttConnection::OnMessage(const mosquitto_message& message) {
    const auto length = static_cast<std::size_t>(std::max(message.payloadlen, 0));
    if (m_Hear) return m_Hear(message.topic, {static_cast<const char*>(message.payload), length}, message.retain);
    if (!m_Subscribed.contains(message.topic)) return;
    auto& [payload, wasKept] = m_Heard[message.topic];
    payload.assign(static_cast<const char*>(message.payload), std::min(length, OrderedMessages::kLongestHeard + 1));
    wasKept = message.retain;
}

std::chrono::steady_clock::duration MqttConnection::StandsStill() const {
    if (m_UnderWay.empty()) return {};
    return std::chrono::steady_clock::now() - m_AnsweredAt;
}

void MqttConnection::Check(int result) const {
    const int systemCode = errno;
    if (result == MOSQ_ERR_SUCCESS) return;
    const int code = m_Reason != 0 ? m_Reason : result;
    throw WhyFailed({code, systemCode, m_IsThere, m_HasAnswered, m_IsUp, m_IsSecure, m_Log}, m_Setup);
}

/// A broker that throws the station out says why before it closes the connection. Who finds that closed in writing does
/// not hear it.
void MqttConnection::ReadAll() {
    auto* client = m_Client.get();
    const auto isReadable = [client] {
        pollfd ready{mosquitto_socket(client), POLLIN, 0};
        return ready.fd >= 0 && ::poll(&ready, 1, 0) == 1;
    };
    int length = 0;
    if (!m_Setup.Broker.Tls && ::ioctl(mosquitto_socket(client), FIONREAD, &length) == 0) m_HasAnswered |= length > 0;
    for (int packets = 0; isReadable() && packets < kMostRead; ++packets)
        Check(mosquitto_loop_read(client, 1));
}

void MqttConnection::Work(int wake, int milliseconds) {
    auto* client = m_Client.get();
    // The login waits for the handshake of TLS.
    const bool wantsWrite = mosquitto_want_write(client);
    m_IsSecure |= m_Setup.Broker.Tls && wantsWrite;
    const auto wanted = static_cast<short>(wantsWrite ? POLLIN | POLLOUT : POLLIN);
    std::array<pollfd, 2> ready{{{mosquitto_socket(client), wanted, 0}, {wake, POLLIN, 0}}};
    ::poll(ready.data(), ready.size(), milliseconds);
    ReadAll();
    if ((ready[0].revents & POLLOUT) != 0) Check(mosquitto_loop_write(client, 1));
    Check(mosquitto_loop_misc(client));
    if (mosquitto_socket(client) < 0) Check(MOSQ_ERR_CONN_LOST);
    if (StandsStill() > kLongestStandstill) {
        throw MqttError(MqttStep::Rights, "it does not acknowledge what it is sent");
    }
}

void MqttConnection::Publish(const MqttMessage& message) {
    Send({message.Topic, message.Retained && message.Payload.empty()}, message.Payload, message.Retained);
}

void MqttConnection::Publish(const OrderedMessage& message) {
    Send({message.Topic, false, message.Number}, message.Payload, false);
}

void MqttConnection::Send(Handed handed, const std::string& payload, bool isRetained) {
    int id = 0;
    if (m_UnderWay.empty()) m_AnsweredAt = std::chrono::steady_clock::now();
    const int result = mosquitto_publish(m_Client.get(), &id, handed.Topic.c_str(), static_cast<int>(payload.size()),
                                         payload.data(), kQos, isRetained);
    if (result == MOSQ_ERR_SUCCESS) {
        if (handed.Number) ++m_OrderedUnderWay;
        m_UnderWay.insert_or_assign(id, std::move(handed));
    } else if (result == MOSQ_ERR_OVERSIZE_PACKET || result == MOSQ_ERR_PAYLOAD_SIZE) {
        Refused(handed, MQTT_RC_PACKET_TOO_LARGE);
    } else if (result == MOSQ_ERR_INVAL) {
        Refused(handed, MQTT_RC_TOPIC_NAME_INVALID);
    } else {
        ReadAll();
        Check(result);
    }
}

void MqttConnection::Subscribe(const std::string& topic, bool mayBeMissed) {
    int id = 0;
    m_Subscribed.insert(topic);
    Check(mosquitto_subscribe(m_Client.get(), &id, topic.c_str(), mayBeMissed ? 0 : kQos));
    m_Listening.insert_or_assign(id, topic);
}

/// In MQTT 3.1.1 the will is told only when the connection ends without a word.
void MqttConnection::End() {
    if (m_Setup.Speaks5) mosquitto_disconnect_v5(m_Client.get(), MQTT_RC_DISCONNECT_WITH_WILL_MSG, nullptr);
}

}  // namespace orvix::station
