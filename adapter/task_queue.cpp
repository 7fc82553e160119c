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
    if (Empty() || !Head()->CmdSended() || HasOutcome(*Head())) {
        Place(--m_First, std::move(added));
        return;
    }
    Entry head = m_Entries.begin()->second;
    Remove(*head.Task);
    Place(--m_First, std::move(added));
    Place(--m_First, std::move(head));
}

TaskQueue::Entry TaskQueue::NewEntry(TaskRef task) const {
    if (Holds(*task)) throw Error(errors::General, "The task \"" + task->Name() + "\" is queued already");
    return {task->Tag(), std::move(task)};
}

void TaskQueue::Place(Position position, Entry entry) {
    m_Positions[entry.Task.get()] = position;
    Index(position, m_Entries.emplace(position, std::move(entry)).first->second);
}

void TaskQueue::Remove(const iOrvixTaskNB1& task) {
    const auto found = m_Positions.find(&task);
    if (found == m_Positions.end()) return;
    const auto entry = m_Entries.find(found->second);
    Unindex(entry->first, entry->second);
    m_Positions.erase(found);
    m_Entries.erase(entry);
}

void TaskQueue::RemoveExecutedHeads() {
    while (!Empty() && Head()->Executed())
        Remove(*Head());
}

TaskRef TaskQueue::FindLinked(const iOrvixTaskNB1& task, const std::string& tag) {
    for (auto sameWork = m_ByTag.find(tag); sameWork != m_ByTag.end(); sameWork = m_ByTag.find(tag)) {
        auto candidate = sameWork->second.begin();
        if (candidate->second->Task.get() == &task) ++candidate;
        if (candidate == sameWork->second.end()) return nullptr;
        const auto [position, entry] = *candidate;
        if (entry->Task->Executed()) {
            Unindex(position, *entry);
        } else if (entry->Task->Tag() != tag) {
            Reindex(position, *entry);
        } else {
            return entry->Task;
        }
    }
    return nullptr;
}

void TaskQueue::TagChanged(const iOrvixTaskNB1& task) {
    const auto found = m_Positions.find(&task);
    if (found != m_Positions.end()) Reindex(found->second, m_Entries.at(found->second));
}

void TaskQueue::ForEach(const std::function<void(const TaskRef&)>& action) const {
    for (const auto& [position, entry] : m_Entries)
        action(entry.Task);
}

void TaskQueue::Index(Position position, Entry& entry) {
    m_ByTag[entry.Tag].emplace(position, &entry);
}

void TaskQueue::Unindex(Position position, const Entry& entry) {
    const auto sameWork = m_ByTag.find(entry.Tag);
    if (sameWork == m_ByTag.end()) return;
    sameWork->second.erase(position);
    if (sameWork->second.empty()) m_ByTag.erase(sameWork);
}

void TaskQueue::Reindex(Position position, Entry& entry) {
    Unindex(position, entry);
    entry.Tag = entry.Task->Tag();
    Index(position, entry);
}

}  // namespace orvix
