#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace orvix::station {

struct MqttMessage {
    std::string Topic;
    std::string Payload;    ///< of a retained one empty: the broker is to keep none
    bool Retained = false;  ///< the broker keeps it for those who ask later
};

/// What is to be sent to a broker. Of each topic the newest message waits, so that it is bounded by the number of
/// topics. Retained ones go before live states, and all of them again to each new connection; live states of a time
/// without a connection are not sent.
class OutgoingMessages {
public:
    using Retained = std::map<std::string, std::string>;

    /// What the broker is to keep, by topic. `earlier`: topics of which it may keep something from earlier runs.
    explicit OutgoingMessages(Retained kept, std::set<std::string> earlier = {})
        : m_Retained(std::move(kept)), m_Earlier(std::move(earlier)) {}

    void Put(MqttMessage message);
    /// A retained one, unless the broker keeps another one of its topic.
    void PutFirst(MqttMessage message);
    /// Of all retained topics that begin like this, but for some, the broker is to keep nothing.
    void ClearBelow(const std::string& begin, const std::set<std::string>& except = {});
    /// The same of the earlier topics that nothing was put to since, and that are not claimed.
    void ClearEarlier(const std::function<bool(const std::string& topic)>& isClaimed);
    const Retained& Kept() const { return m_Retained; }
    /// Topics of which the broker may keep something.
    std::set<std::string> KeptTopics() const;
    /// Whether these have changed since this was asked.
    bool TakeTopicsChanged() { return std::exchange(m_HaveTopicsChanged, false); }

    /// There is somebody who has been told nothing yet: all that is kept is sent, first what begins with the first of
    /// these, then what begins with the second, then the others.
    void TellAll(const std::vector<std::string>& first);
    void Disconnected();
    /// The next message to hand over; nothing when none waits.
    std::optional<MqttMessage> Next();
    /// The broker keeps nothing of a topic any more, as it was told.
    void Cleared(const std::string& topic);
    /// Live states that are not sent, because newer ones took their places or there was no connection, since this was
    /// asked.
    std::uint64_t TakeDropped() { return std::exchange(m_Dropped, 0); }
    bool IsConnected() const { return m_IsConnected; }
    bool IsEmpty() const { return m_WaitingRetained.empty() && m_StateOrder.empty(); }

private:
    void PutRetained(const std::string& topic, std::string payload);
    void PutState(MqttMessage message);

    bool m_IsConnected = false;
    Retained m_Retained;
    std::set<std::string> m_Earlier;
    bool m_HaveTopicsChanged = true;
    std::deque<std::string> m_RetainedOrder;
    std::set<std::string> m_WaitingRetained;  ///< those in m_RetainedOrder
    std::map<std::string, std::string> m_States;
    std::deque<std::string> m_StateOrder;
    std::uint64_t m_Dropped = 0;
};

}  // namespace orvix::station
