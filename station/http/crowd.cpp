#include "station/http/crowd.h"

#include <algorithm>
#include <tuple>

namespace orvix::station {

std::vector<Crowd::Key> Crowd::Enter(Key client, const std::string& address, Duration now) {
    std::vector<Key> leaving;
    const auto makeRoom = [&](const std::string* of, std::size_t most) {
        if (Count(of) < most) return;
        const auto slowest = Slowest(of);
        // When all listen, the new one is the slowest.
        leaving.push_back(slowest.value_or(client));
        Leave(leaving.back());
    };
    makeRoom(&address, m_Limits.Address);
    makeRoom(nullptr, m_Limits.All);
    if (std::find(leaving.begin(), leaving.end(), client) == leaving.end()) {
        m_Members[client] = {address, Doing::Asking, now, now + m_Limits.Request};
    }
    return leaving;
}

void Crowd::Does(Key client, Doing what, Duration now) {
    const auto member = m_Members.find(client);
    if (member == m_Members.end()) return;
    member->second.What = what;
    member->second.Since = now;
    member->second.End.reset();
    if (what == Doing::Asking) member->second.End = now + m_Limits.Request;
    if (what == Doing::Reading) member->second.End = now + m_Limits.Answer;
}

std::vector<Crowd::Key> Crowd::Overdue(Duration now) {
    std::vector<Key> overdue;
    for (const auto& [client, member] : m_Members) {
        if (member.End && *member.End <= now) overdue.push_back(client);
    }
    for (const auto client : overdue)
        Leave(client);
    return overdue;
}

std::optional<Duration> Crowd::NextEnd() const {
    std::optional<Duration> next;
    for (const auto& [client, member] : m_Members) {
        if (member.End && (!next || *member.End < *next)) next = member.End;
    }
    return next;
}

std::size_t Crowd::Listeners(const std::string* address) const {
    return static_cast<std::size_t>(std::count_if(m_Members.begin(), m_Members.end(), [&](const auto& entry) {
        return entry.second.What == Doing::Listening && (address == nullptr || entry.second.Address == *address);
    }));
}

std::size_t Crowd::Count(const std::string* address) const {
    if (address == nullptr) return m_Members.size();
    return static_cast<std::size_t>(std::count_if(m_Members.begin(), m_Members.end(),
                                                  [&](const auto& entry) { return entry.second.Address == *address; }));
}

std::optional<Crowd::Key> Crowd::Slowest(const std::string* address) const {
    const Member* slowest = nullptr;
    std::optional<Key> key;
    for (const auto& [client, member] : m_Members) {
        if (!member.End || (address != nullptr && member.Address != *address)) continue;
        if (slowest != nullptr && std::tie(slowest->Since, slowest->What) <= std::tie(member.Since, member.What))
            continue;
        slowest = &member;
        key = client;
    }
    return key;
}

}  // namespace orvix::station
