#include "station/mqtt/outgoing_messages.h"

namespace orvix::station {

void OutgoingMessages::Put(MqttMessage message) {
    if (message.Retained) {
        PutRetained(message.Topic, std::move(message.Payload));
    } else {
        PutState(std::move(message));
    }
}

void OutgoingMessages::PutRetained(const std::string& topic, std::string payload) {
    const auto [kept, isNew] = m_Retained.try_emplace(topic);
    if (!isNew && kept->second == payload) return;
    m_HaveTopicsChanged |= isNew;
    kept->second = std::move(payload);
    if (m_IsConnected && m_WaitingRetained.insert(topic).second) m_RetainedOrder.push_back(topic);
}

void OutgoingMessages::PutState(MqttMessage message) {
    if (!m_IsConnected) {
        ++m_Dropped;
        return;
    }
    const auto [state, isNew] = m_States.insert_or_assign(message.Topic, std::move(message.Payload));
    if (isNew) {
        m_StateOrder.push_back(state->first);
    } else {
        ++m_Dropped;
    }
}

void OutgoingMessages::PutFirst(MqttMessage message) {
    const auto kept = m_Retained.find(message.Topic);
    if (kept == m_Retained.end() || kept->second.empty()) PutRetained(message.Topic, std::move(message.Payload));
}

void OutgoingMessages::ClearBelow(const std::string& begin, const std::set<std::string>& except) {
    for (auto topic = m_Retained.lower_bound(begin); topic != m_Retained.end() && topic->first.starts_with(begin);
         ++topic) {
        if (!topic->second.empty() && !except.contains(topic->first)) PutRetained(topic->first, {});
    }
}

void OutgoingMessages::ClearEarlier(const std::function<bool(const std::string& topic)>& isClaimed) {
    if (m_Earlier.empty()) return;
    for (const auto& topic : std::exchange(m_Earlier, {}))
        if (!m_Retained.contains(topic) && !isClaimed(topic)) PutRetained(topic, {});
    m_HaveTopicsChanged = true;
}

std::set<std::string> OutgoingMessages::KeptTopics() const {
    auto topics = m_Earlier;
    for (const auto& [topic, payload] : m_Retained)
        topics.insert(topic);
    return topics;
}

void OutgoingMessages::TellAll(const std::vector<std::string>& first) {
    m_IsConnected = true;
    m_RetainedOrder.clear();
    m_WaitingRetained.clear();
    const auto tell = [this](const std::string& begin) {
        for (const auto& [topic, payload] : m_Retained)
            if (topic.starts_with(begin) && m_WaitingRetained.insert(topic).second) m_RetainedOrder.push_back(topic);
    };
    for (const auto& begin : first)
        tell(begin);
    tell({});
}

void OutgoingMessages::Disconnected() {
    m_IsConnected = false;
    m_Dropped += m_StateOrder.size();
    m_States.clear();
    m_StateOrder.clear();
    m_RetainedOrder.clear();
    m_WaitingRetained.clear();
}

std::optional<MqttMessage> OutgoingMessages::Next() {
    if (!m_RetainedOrder.empty()) {
        auto topic = std::move(m_RetainedOrder.front());
        m_RetainedOrder.pop_front();
        m_WaitingRetained.erase(topic);
        return MqttMessage{topic, m_Retained[topic], true};
    }
    if (m_StateOrder.empty()) return std::nullopt;
    auto state = m_States.extract(m_StateOrder.front());
    m_StateOrder.pop_front();
    return MqttMessage{std::move(state.key()), std::move(state.mapped()), false};
}

void OutgoingMessages::Cleared(const std::string& topic) {
    const auto kept = m_Retained.find(topic);
    if (kept == m_Retained.end() || !kept->second.empty() || m_WaitingRetained.contains(topic)) return;
    m_Retained.erase(kept);
    m_HaveTopicsChanged = true;
}

}  // namespace orvix::station
