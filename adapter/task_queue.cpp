#include "adapter/task_queue.h"

#include <utility>

#include "host/error.h"

namespace orvix {

bool IsFinished(const iOrvixTaskNB1& task) {
    return task.CmdExecuted() || task.Timeout() || task.IsLinked() || task.Executed();
}

void TaskQueue::Append(TaskRef task) {
    Place(++m_Last, NewEntry(std::move(task)));
}

void TaskQueue::AddFirst(TaskRef task) {
    Entry added = NewEntry(std::move(task));
    if (Empty() || !Head().Task->CmdSended() || IsFinished(*Head().Task)) {
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
    m_ByTag[entry.Tag].insert(position);
    m_Entries.emplace(position, std::move(entry));
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

TaskRef TaskQueue::FindLinked(const iOrvixTaskNB1& task) {
    const auto sameWork = m_ByTag.find(task.Tag());
    if (sameWork == m_ByTag.end()) return nullptr;
    auto& positions = sameWork->second;
    for (auto position = positions.begin(); position != positions.end();) {
        const TaskRef& candidate = m_Entries.at(*position).Task;
        if (candidate->Executed()) {
            position = positions.erase(position);
        } else if (candidate->ID() == task.ID()) {
            ++position;
        } else {
            return candidate;
        }
    }
    return nullptr;
}

void TaskQueue::TagChanged(const std::string& key) {
    const auto found = m_ByKey.find(key);
    if (found != m_ByKey.end()) Reindex(found->second, m_Entries.at(found->second));
}

void TaskQueue::ForEach(const std::function<void(iOrvixTaskNB1&)>& action) {
    for (auto& [position, entry] : m_Entries) {
        action(*entry.Task);
        Reindex(position, entry);
    }
}

void TaskQueue::Reindex(Position position, Entry& entry) {
    Unindex(position, entry);
    entry.Tag = entry.Task->Tag();
    m_ByTag[entry.Tag].insert(position);
}

void TaskQueue::Unindex(Position position, const Entry& entry) {
    const auto sameWork = m_ByTag.find(entry.Tag);
    if (sameWork == m_ByTag.end()) return;
    sameWork->second.erase(position);
    if (sameWork->second.empty()) m_ByTag.erase(sameWork);
}

}  // namespace orvix
