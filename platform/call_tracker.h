#pragma once

#include <cstdint>
#include <deque>
#include <memory>
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
    const std::vector<ByteArray>& Results() const override { return m_Results; }

private:
    /// An entry stays open until its answer has come, so that the server finds it even when nobody waits for it.
    struct Request {
        std::unique_ptr<SharedEntry> Entry;
        bool Awaited = true;
    };

    std::shared_ptr<Directory::Endpoints> m_Directory;
    Messaging& m_Messaging;
    std::string m_Name;
    std::string m_ServerName;
    std::uint32_t m_Sequence = 0;
    std::vector<ByteArray> m_Arguments;
    std::vector<ByteArray> m_Results;
    std::deque<Request> m_Unanswered;  ///< in order of sending
};

}  // namespace orvix::platform
