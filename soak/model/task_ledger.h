#pragma once

#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/messaging.h"
#include "soak/model/model_devices.h"
#include "tasks/cOrvixTaskNB1.h"

namespace orvix::soak {

/// What a run of the model has come to.
struct ModelCounts {
    std::uint64_t Events = 0;
    std::uint64_t Tasks = 0;  ///< accepted by an adapter
    std::uint64_t Succeeded = 0;
    std::uint64_t Linked = 0;                         ///< of those, answered from another's result
    std::map<std::string, std::uint64_t> Violations;  ///< by kind; must be empty
    std::vector<std::string> FirstViolations;         ///< with the event that they were found at
};

/// A task as the host remembers it.
struct AskedTask {
    std::unique_ptr<SharedEntry> Entry;     ///< null for a task object that has none
    std::shared_ptr<iOrvixTaskNB1> Object;  ///< null for a task of NewWork
    std::size_t Device = 0;                 ///< place in the model's fleet
    std::uint32_t Token = 0;                ///< 0: no reading, ends well without return arguments
    bool CertainlyAccepted = true;          ///< false for a message to an adapter that is about to close
    std::uint64_t AcceptedAt = 0;           ///< event
    Duration When{0};
};

/// The tasks that a host has given to one adapter. Looked at after every event, it finds what breaks the rules: every
/// task ends exactly once, with its own answer or with that of an equal task which had not ended when it came.
class TaskLedger {
public:
    TaskLedger(const Services& services, ModelCounts& counts);

    void Accept(AskedTask task);
    /// A poll's number has become a value: an equal task that comes later must not be given it.
    void PollEnded(std::uint32_t token) { m_EndedPolls.push_back(token); }
    /// Looks for tasks that have ended. Unless `settled`, the adapter may be within a step.
    void Sweep(bool settled);
    /// Nothing may be open any more; `why` says what ought to have ended the tasks that are.
    void RequireAllEnded(const std::string& why);
    /// The same for those accepted before the event.
    void RequireEndedBefore(std::uint64_t event, const std::string& why);
    /// Waits and changes of the host pick a task; null when none is open.
    AskedTask* AnyOpen(Random& random);
    std::size_t Open() const { return m_Open.size(); }

    void Violation(const std::string& kind, const std::string& detail);
    void ReleaseAll();

private:
    bool Ended(const AskedTask& task) const;
    void CheckEnd(const AskedTask& task);
    void CheckAnswer(const AskedTask& task, const iOrvixTaskNB1& result, const VariantList& answer);
    void CheckForeignAnswer(const AskedTask& task, std::uint32_t answer);
    void Retain(AskedTask task);

    const Services& m_Services;
    ModelCounts& m_Counts;
    cOrvixTaskNB1 m_Reader;
    std::list<AskedTask> m_Open;
    std::deque<AskedTask> m_Retained;                  ///< ended, and watched for a second end
    std::map<std::uint32_t, std::uint64_t> m_EndedAt;  ///< by number: the event at which its task was found ended
    std::deque<std::uint32_t> m_EndedOrder;
    std::vector<std::uint32_t> m_EndedPolls;
};

}  // namespace orvix::soak
