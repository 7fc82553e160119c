#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "tasks/iOrvixTaskNB1.h"

namespace orvix {

using TaskRef = std::shared_ptr<iOrvixTaskNB1>;

/// Whether a task was answered, timed out, or got its result otherwise: it is then completed and never sent, also if it
/// has not been sent yet.
bool HasOutcome(const iOrvixTaskNB1& task);

/// The tasks to do, in order. A task object stands in it once at most, and is found by its tag without a search through
/// the queue.
class TaskQueue {
public:
    bool Empty() const { return m_Entries.empty(); }
    std::size_t Count() const { return m_Entries.size(); }
    bool Holds(const iOrvixTaskNB1& task) const { return m_Positions.contains(&task); }
    /// The queue must not be empty.
    const TaskRef& Head() const { return m_Entries.begin()->second.Task; }

    /// Both raise General when the queue holds the task already.
    void Append(TaskRef task);
    /// Puts a task first, but behind a head that has been sent and not yet answered: one answer is awaited at a time.
    void AddFirst(TaskRef task);

    /// Removes the task, if it is there.
    void Remove(const iOrvixTaskNB1& task);
    /// Removes tasks from the head up to the first that is not executed.
    void RemoveExecutedHeads();

    /// The first other task that is not executed and has the tag; null when there is none. One whose tag has become
    /// equal since it was added need not be found.
    TaskRef FindLinked(const iOrvixTaskNB1& task, const std::string& tag);
    /// Takes notice that the task may do other work than when it was added.
    void TagChanged(const iOrvixTaskNB1& task);
    /// Runs an action on every task in order; the action may not add or remove any.
    void ForEach(const std::function<void(const TaskRef&)>& action) const;

private:
    /// Place in the order: less is nearer to the head.
    using Position = std::int64_t;
    struct Entry {
        std::string Tag;
        TaskRef Task;
    };

    Entry NewEntry(TaskRef task) const;
    void Place(Position position, Entry entry);
    void Index(Position position, Entry& entry);
    void Unindex(Position position, const Entry& entry);
    void Reindex(Position position, Entry& entry);

    std::map<Position, Entry> m_Entries;
    std::unordered_map<const iOrvixTaskNB1*, Position> m_Positions;
    /// The tasks by the tag that they had when they were last indexed; executed ones are dropped when they are met.
    std::unordered_map<std::string, std::map<Position, Entry*>> m_ByTag;
    Position m_First = 0;
    Position m_Last = 0;
};

}  // namespace orvix
