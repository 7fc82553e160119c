#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "station/model/mqtt_setup.h"
#include "station/mqtt/outgoing_messages.h"

struct mosquitto;
struct mosquitto_message;

namespace orvix::station {

/// One connection to a broker, from its beginning to its end, on one thread. Nothing that was handed over to it is sent
/// by another one.
class MqttConnection {
public:
    /// Looks the broker up and connects to it, which may take minutes. `will`: what the broker tells the others when
    /// the connection ends. Raises Error.
    MqttConnection(const MqttSetup& setup, const std::string& client, const MqttMessage& will);
    ~MqttConnection();
    MqttConnection(const MqttConnection&) = delete;
    MqttConnection& operator=(const MqttConnection&) = delete;

    /// Waits until there is something to do, or `wake` can be read, at most that long. Does it. Raises Error with the
    /// reason when the connection has ended.
    void Work(int wake, int milliseconds);
    /// Whether the broker has taken the station.
    bool IsUp() const { return m_IsUp; }
    /// Hands a message over. Only while it is up.
    void Publish(const MqttMessage& message);
    /// Listens to a topic, from now on.
    void Subscribe(const std::string& topic);
    /// Whether this was said there, since it was asked.
    bool TakeHeard(std::string_view payload) { return std::exchange(m_Heard, {}) == payload; }
    /// Messages that the broker has not acknowledged yet.
    std::size_t UnderWay() const { return m_UnderWay.size(); }
    /// Topics of which the broker has acknowledged that it is to keep nothing, since this was asked.
    std::vector<std::string> TakeCleared() { return std::exchange(m_Cleared, {}); }
    /// Why the broker has not taken a message, since this was asked; nothing when it takes all.
    std::optional<std::string> TakeNotTaken() { return std::exchange(m_NotTaken, std::nullopt); }
    /// Ends it in order; the will is told.
    void End();

private:
    struct Destroy {
        void operator()(mosquitto* client) const;
    };
    struct Handed {
        std::string Topic;
        bool IsClear;
    };

    void SetUp(const MqttMessage& will);
    void SetUpLogin();
    void SetUpTls();
    void SetCallbacks();
    void OnConnect(int reason);
    void OnPublish(int message, int reason);
    void OnMessage(const mosquitto_message& message);
    /// Raises Error for a result of the library.
    void Check(int result) const;

    const MqttSetup& m_Setup;
    std::unique_ptr<mosquitto, Destroy> m_Client;
    bool m_IsUp = false;
    int m_Reason = 0;  ///< that the broker gave for refusal or end, or the library
    std::string m_Log;
    std::map<int, Handed> m_UnderWay;
    std::vector<std::string> m_Cleared;
    std::optional<std::string> m_NotTaken;
    std::string m_Heard;  ///< the latest message that came, if it is a short one
};

}  // namespace orvix::station
