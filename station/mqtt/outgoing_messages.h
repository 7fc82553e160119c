#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

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

    /// What the broker is to keep, by topic.
    explicit OutgoingMessages(Retained kept) : m_Retained(std::move(kept)) {}

    void Put(MqttMessage message);
    /// Of all retained topics that begin like this the broker is to keep nothing.
    void ClearBelow(const std::string& begin);
    const Retained& Kept() const { return m_Retained; }

    /// There is a connection, to which nothing was sent yet; `first` goes before all others.
    void Connected(const std::string& first);
    void Disconnected();
    /// The next message to hand over; nothing when none waits.
    std::optional<MqttMessage> Next();
    /// The broker keeps nothing of a topic any more, as it was told.
    void Cleared(const std::string& topic);
    /// Live states that are not sent, because newer ones took their places or there was no connection, since this was
    /// asked.
    std::uint64_t TakeDropped() { return std::exchange(m_Dropped, 0); }
    bool IsEmpty() const { return m_WaitingRetained.empty() && m_StateOrder.empty(); }

private:
    void PutRetained(const std::string& topic, std::string payload);
    void PutState(MqttMessage message);

    bool m_IsConnected = false;
    Retained m_Retained;
    std::deque<std::string> m_RetainedOrder;
    std::set<std::string> m_WaitingRetained;  ///< those in m_RetainedOrder
    std::map<std::string, std::string> m_States;
    std::deque<std::string> m_StateOrder;
    std::uint64_t m_Dropped = 0;
};

}  // namespace orvix::station
