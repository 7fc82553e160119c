#include "platform/call_tracker.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/channels.h"

namespace orvix::platform {

void ProcessCallTracker::Start(const std::string& name, const std::string& serverName) {
    m_Name = name;
    m_ServerName = serverName;
    m_Unanswered.clear();
}

void ProcessCallTracker::ExecuteAsync() {
    GiveUp();
    Request request{m_Messaging.CreateSharedEntry(), m_SentCount + 1};
    request.Entry->Create(m_Name + "_" + std::to_string(request.Number));
    // Nobody else knows the entry yet, so it needs no lock.
    request.Entry->Data().ArgumentList = m_Arguments;
    request.Entry->Published(true);

    const std::string key = request.Entry->Name();
    if (!m_Directory->Post(m_ServerName, [key](Endpoint& server) { server.ReceiveNewWork(key); }))
        throw Error(errors::General, "No server is named \"" + m_ServerName + "\"");
    m_SentCount = request.Number;
    m_Unanswered.push_back(std::move(request));
}

std::optional<SharedData> ProcessCallTracker::AnswerIn(SharedEntry& entry) {
    if (!entry.TryLock()) return std::nullopt;
    std::optional<SharedData> answer;
    const SharedData& data = entry.Data();
    if (!data.ResultList.empty() || data.Processed || data.e != errors::None) answer = data;
    entry.Unlock();
    return answer;
}

bool ProcessCallTracker::IsAnswered(const Request& request) {
    return AnswerIn(*request.Entry).has_value();
}

void ProcessCallTracker::GiveUp() {
    for (auto& request : m_Unanswered)
        request.Awaited = false;
}

bool ProcessCallTracker::Completed(bool busyAnswer) {
    m_Answer = {};
    return busyAnswer ? CompleteRefused() : CompleteAnswered();
}

bool ProcessCallTracker::CompleteAnswered() {
    auto givenUp = m_Unanswered.end();
    if (!m_Unanswered.empty() && m_Unanswered.back().Awaited) {
        if (auto answer = AnswerIn(*m_Unanswered.back().Entry)) {
            m_Answer = std::move(*answer);
            m_Unanswered.clear();
            return true;
        }
        --givenUp;
    }
    const auto oldest = std::find_if(m_Unanswered.begin(), givenUp, IsAnswered);
    if (oldest != givenUp) m_Unanswered.erase(oldest);
    return false;
}

bool ProcessCallTracker::CompleteRefused() {
    const auto newest = std::find_if_not(m_Unanswered.rbegin(), m_Unanswered.rend(), IsAnswered);
    if (newest == m_Unanswered.rend()) return false;
    const bool awaited = newest->Awaited;
    m_Unanswered.erase(std::next(newest).base());
    return awaited;
}

bool ProcessCallTracker::AnyUnanswered(std::uint64_t count) const {
    return !m_Unanswered.empty() && m_Unanswered.front().Number <= count;
}

}  // namespace orvix::platform
