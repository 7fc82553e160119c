#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "station/model/mqtt_setup.h"
#include "station/mqtt/ordered_messages.h"
#include "station/mqtt/outgoing_messages.h"

struct mosquitto;
struct mosquitto_message;

namespace orvix::station {

struct HeardMessage {
    std::string Payload;   ///< cut behind OrderedMessages::kLongestHeard bytes and one more
    bool WasKept = false;  ///< by the broker, from before the connection
};

/// One connection to a broker, from its beginning to its end, on one thread. Nothing that was handed over to it is sent
/// by another one.
class MqttConnection {
public:
    /// `will`: what the broker tells the others when the connection ends; nothing: nothing. Raises MqttError for a file
    /// that cannot be read.
    MqttConnection(const MqttSetup& setup, const std::string& client, const std::optional<MqttMessage>& will);
    ~MqttConnection();
    MqttConnection(const MqttConnection&) = delete;
    MqttConnection& operator=(const MqttConnection&) = delete;

    /// Looks the broker up and connects to it, which may take minutes. To be called once, first. Raises MqttError.
    void Connect();
    /// Waits until there is something to do, or `wake` can be read, at most that long. Does it. Raises MqttError with
    /// the reason when the connection has ended.
    void Work(int wake, int milliseconds);
    /// Whether the broker has taken the station.
    bool IsUp() const { return m_IsUp; }
    /// Whether TLS has begun, and the certificate is right.
    bool IsSecure() const { return m_IsSecure; }
    /// Hands a message over. Only while it is up.
    void Publish(const MqttMessage& message);
    void Publish(const OrderedMessage& message);
    /// Listens to a topic, from now on. `mayBeMissed`: the broker need not wait until one is taken.
    void Subscribe(const std::string& topic, bool mayBeMissed = false);
    /// The latest message on each of these topics that has come since this was asked.
    std::map<std::string, HeardMessage> TakeHeard() { return std::exchange(m_Heard, {}); }
    /// Called in Work with all that is heard, which TakeHeard then knows nothing of. May not raise anything.
    using Hear = std::function<void(const std::string& topic, std::string_view payload, bool wasKept)>;
    void HearWith(Hear hear) { m_Hear = std::move(hear); }
    /// Whether the broker has not yet answered to all that was to be listened to.
    bool AwaitsHearing() const { return !m_Listening.empty(); }
    /// Messages that the broker has not acknowledged yet, and how many of these are ordered ones.
    std::size_t UnderWay() const { return m_UnderWay.size(); }
    std::size_t OrderedUnderWay() const { return m_OrderedUnderWay; }
    /// How many of them it takes at once; more would wait where no newer ones can take their places.
    std::size_t MostUnderWay() const { return m_MostUnderWay; }
    /// For how long it has acknowledged none of them; 0 when there are none.
    std::chrono::steady_clock::duration StandsStill() const;
    /// What the broker has said of ordered messages since this was asked: their numbers, with 0 or the reason why it
    /// does not take them.
    std::vector<std::pair<std::int64_t, int>> TakeAnswered() { return std::exchange(m_Answered, {}); }
    /// Topics of which the broker has acknowledged that it is to keep nothing, since this was asked.
    std::vector<std::string> TakeCleared() { return std::exchange(m_Cleared, {}); }
    /// What the broker does not take or tell, and why, since this was asked; nothing when it does all.
    std::optional<std::string> TakeRefusal() { return std::exchange(m_Refusal, std::nullopt); }
    /// Ends it in order; the will is told.
    void End();

private:
    struct Destroy {
        void operator()(mosquitto* client) const;
    };
    struct Handed {
        std::string Topic;
        bool IsClear = false;
        std::optional<std::int64_t> Number{};  ///< of an ordered message
    };

    void SetUp(const std::optional<MqttMessage>& will);
    void SetUpLogin();
    void SetUpTls();
    void SetCallbacks();
    /// `receiveMaximum`: of the broker; 0: it names none.
    void OnConnect(int reason, std::uint16_t receiveMaximum);
    void OnPublish(int message, int reason);
    void Send(Handed handed, const std::string& payload, bool isRetained);
    void Refused(const Handed& handed, int reason);
    void OnSubscribe(int message, int granted);
    void OnMessage(const mosquitto_message& message);
    void ReadAll();
    /// Raises MqttError for a result of the library.
    void Check(int result) const;

    const MqttSetup& m_Setup;
    std::unique_ptr<mosquitto, Destroy> m_Client;
    bool m_IsThere = false;  ///< connected by TCP
    bool m_HasAnswered = false;
    bool m_IsUp = false;
    bool m_IsSecure = false;
    int m_Reason = 0;  ///< that the broker gave for refusal or end, or the library
    std::string m_Log;
    std::map<int, Handed> m_UnderWay;
    std::chrono::steady_clock::time_point m_AnsweredAt;  ///< or had nothing to answer to
    std::size_t m_MostUnderWay;
    std::vector<std::string> m_Cleared;
    std::map<int, std::string> m_Listening;  ///< topics that were asked for, by message
    std::optional<std::string> m_Refusal;
    std::size_t m_OrderedUnderWay = 0;
    std::vector<std::pair<std::int64_t, int>> m_Answered;
    std::set<std::string> m_Subscribed;
    std::map<std::string, HeardMessage> m_Heard;
    Hear m_Hear;
};

}  // namespace orvix::station
