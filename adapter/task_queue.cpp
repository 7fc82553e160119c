#include "adapter/task_queue.h"

#include <utility>

#include "host/error.h"

namespace orvix {

bool HasOutcome(const iOrvixTaskNB1& task) {
    return task.CmdExecuted() || task.Timeout() || task.IsLinked() || task.Executed();
}

void TaskQueue::Append(TaskRef task) {
    Place(++m_Last, NewEntry(std::move(task)));
}

void TaskQueue::AddFirst(TaskRef task) {
    Entry added = NewEntry(std::move(task));
    if (Empty() || !Head().Task->CmdSended() || HasOutcome(*Head().Task)) {
        Place(--m_First, std::move(added));
        return;
    }
    Entry head = Head();
    Remove(head.Key);
    Place(--m_First, std::move(added));
    Place(--m_First, std::move(head));
}

TaskQueue::Entry TaskQueue::NewEntry(TaskRef task) const {
    Entry entry{task->ID(), task->Tag(), std::move(task)};
    if (m_ByKey.contains(entry.Key)) {
        throw Error(errors::General, "The queue already has a task \"" + entry.Key + "\"");
    }
    return entry;
}

void TaskQueue::Place(Position position, Entry entry) {
    m_ByKey[entry.Key] = position;
    const Entry& placed = m_Entries.emplace(position, std::move(entry)).first->second;
    m_ByTag[placed.Tag].emplace(position, &placed);
}

void TaskQueue::Remove(const std::string& key) {
    const auto found = m_ByKey.find(key);
    if (found == m_ByKey.end()) return;
    const auto entry = m_Entries.find(found->second);
    Unindex(entry->first, entry->second);
    m_ByKey.erase(found);
    m_Entries.erase(entry);
}

void TaskQueue::RemoveExecutedHeads() {
    while (!Empty() && Head().Task->Executed())
        Remove(std::string(Head().Key));
}

TaskRef TaskQueue::FindLinked(const std::string& id, const std::string& tag) {
    const auto sameWork = m_ByTag.find(tag);
    if (sameWork == m_ByTag.end()) return nullptr;
    auto& tasks = sameWork->second;
    for (auto candidate = tasks.begin(); candidate != tasks.end();) {
        const Entry& entry = *candidate->second;
        if (entry.Task->Executed()) {
            candidate = tasks.erase(candidate);
        } else if (entry.Key == id) {
            ++candidate;
        } else {
            return entry.Task;
        }
    }
    return nullptr;
}

void TaskQueue::TagChanged(const std::string& key) {
    const auto found = m_ByKey.find(key);
    if (found == m_ByKey.end()) return;
    const Position position = found->second;
    Entry& entry = m_Entries.at(position);
    Unindex(position, entry);
    entry.Tag = entry.Task->Tag();
    m_ByTag[entry.Tag].emplace(position, &entry);
}

void TaskQueue::ForEach(const std::function<void(const Entry&)>& action) const {
    for (const auto& [position, entry] : m_Entries)
        action(entry);
}

void TaskQueue::Unindex(Position position, const Entry& entry) {
    const auto sameWork = m_ByTag.find(entry.Tag);
    if (sameWork == m_ByTag.end()) return;
    sameWork->second.erase(position);
    if (sameWork->second.empty()) m_ByTag.erase(sameWork);
}

}  // namespace orvix
