#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/messaging.h"
#include "platform/process_messaging.h"

namespace orvix::platform {

/// Requests go out as shared entries, announced to the server's endpoint as new work.
class ProcessCallTracker : public CallTracker {
public:
    ProcessCallTracker(std::shared_ptr<Directory::Endpoints> directory, Messaging& messaging)
        : m_Directory(std::move(directory)), m_Messaging(messaging) {}

    void Start(const std::string& name, const std::string& serverName) override;
    std::vector<ByteArray>& Arguments() override { return m_Arguments; }
    void ExecuteAsync() override;
    void GiveUp() override;
    bool Completed(bool busyAnswer) override;
    const SharedData& Answer() const override { return m_Answer; }
    std::uint64_t SentCount() const override { return m_SentCount; }
    bool AnyUnanswered(std::uint64_t count) const override;

private:
    /// An entry stays open until its answer has come, so that the server finds it even when nobody waits for it.
    struct Request {
        std::unique_ptr<SharedEntry> Entry;
        std::uint64_t Number;
        bool Awaited = true;
    };

    /// What the entry of a request that counts as answered holds.
    static std::optional<SharedData> AnswerIn(SharedEntry& entry);
    static bool IsAnswered(const Request& request);
    bool CompleteAnswered();
    bool CompleteRefused();

    std::shared_ptr<Directory::Endpoints> m_Directory;
    Messaging& m_Messaging;
    std::string m_Name;
    std::string m_ServerName;
    std::uint64_t m_SentCount = 0;
    std::vector<ByteArray> m_Arguments;
    SharedData m_Answer;
    /// In order of sending. None but the last can be awaited.
    std::deque<Request> m_Unanswered;
};

}  // namespace orvix::platform
