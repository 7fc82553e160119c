#include "platform/call_tracker.h"

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
    Request request{m_Messaging.CreateSharedEntry()};
    request.Entry->Create(m_Name + "_" + std::to_string(++m_Sequence));
    request.Entry->Lock();
    request.Entry->Data().ArgumentList = m_Arguments;
    request.Entry->Unlock();
    request.Entry->Published(true);

    const std::string key = request.Entry->Name();
    if (!m_Directory->Post(m_ServerName, [key](Endpoint& server) { server.ReceiveNewWork(key); }))
        throw Error(errors::General, "No server is named \"" + m_ServerName + "\"");
    m_Unanswered.push_back(std::move(request));
}

void ProcessCallTracker::GiveUp() {
    for (auto& request : m_Unanswered)
        request.Awaited = false;
}

bool ProcessCallTracker::Completed(bool busyAnswer) {
    if (m_Unanswered.empty()) return false;
    const auto answered = busyAnswer ? m_Unanswered.end() - 1 : m_Unanswered.begin();
    const Request request = std::move(*answered);
    m_Unanswered.erase(answered);
    if (!request.Awaited) return false;
    request.Entry->Lock();
    m_Results = std::move(request.Entry->Data().ResultList);
    request.Entry->Unlock();
    return true;
}

}  // namespace orvix::platform
