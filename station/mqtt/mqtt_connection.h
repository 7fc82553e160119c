#pragma once

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
    /// Looks the broker up and connects to it, which may take minutes. `will`: what the broker tells the others when
    /// the connection ends; nothing: nothing. Raises Error.
    MqttConnection(const MqttSetup& setup, const std::string& client, const std::optional<MqttMessage>& will);
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
    /// What the broker does not let the station hear, since this was asked; nothing when it lets it hear all.
    std::optional<std::string> TakeNotHeard() { return std::exchange(m_NotHeard, std::nullopt); }
    /// Messages that the broker has not acknowledged yet, and how many of these are ordered ones.
    std::size_t UnderWay() const { return m_UnderWay.size(); }
    std::size_t OrderedUnderWay() const { return m_OrderedUnderWay; }
    /// What the broker has said of ordered messages since this was asked: their numbers, with 0 or the reason why it
    /// does not take them.
    std::vector<std::pair<std::int64_t, int>> TakeAnswered() { return std::exchange(m_Answered, {}); }
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
        bool IsClear = false;
        std::optional<std::int64_t> Number{};  ///< of an ordered message
    };

    void SetUp(const std::optional<MqttMessage>& will);
    void SetUpLogin();
    void SetUpTls();
    void SetCallbacks();
    void OnConnect(int reason);
    void OnPublish(int message, int reason);
    void Send(Handed handed, const std::string& payload, bool isRetained);
    void Refused(const Handed& handed, int reason);
    void OnSubscribe(int message, int granted);
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
    std::size_t m_OrderedUnderWay = 0;
    std::vector<std::pair<std::int64_t, int>> m_Answered;
    std::set<std::string> m_Subscribed;
    std::map<std::string, HeardMessage> m_Heard;
    std::map<int, std::string> m_Listening;  ///< topics that were asked for, by message
    std::optional<std::string> m_NotHeard;
    Hear m_Hear;
};

}  // namespace orvix::station
