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

/// The tasks to do, in order. Each is keyed by the ID that it had when it was added, and found by its tag without a
/// search through the queue.
class TaskQueue {
public:
    struct Entry {
        std::string Key;
        std::string Tag;
        TaskRef Task;
    };

    bool Empty() const { return m_Entries.empty(); }
    std::size_t Count() const { return m_Entries.size(); }
    /// The queue must not be empty.
    const Entry& Head() const { return m_Entries.begin()->second; }

    /// Both raise General when the queue has a task of that ID.
    void Append(TaskRef task);
    /// Puts a task first, but behind a head that has been sent and not yet answered: one answer is awaited at a time.
    void AddFirst(TaskRef task);

    /// Removes the task of that key, if it is there.
    void Remove(const std::string& key);
    /// Removes tasks from the head up to the first that is not executed.
    void RemoveExecutedHeads();

    /// The first task that is not executed, has another ID and the same tag; null when there is none.
    TaskRef FindLinked(const std::string& id, const std::string& tag);
    /// Takes notice that the task of that key may do other work than when it was added.
    void TagChanged(const std::string& key);
    /// Runs an action on every task in order; the action may not add or remove any.
    void ForEach(const std::function<void(const Entry&)>& action) const;

private:
    /// Place in the order: less is nearer to the head.
    using Position = std::int64_t;

    Entry NewEntry(TaskRef task) const;
    void Place(Position position, Entry entry);
    void Unindex(Position position, const Entry& entry);

    std::map<Position, Entry> m_Entries;
    std::unordered_map<std::string, Position> m_ByKey;
    /// By tag, the tasks that are not executed; executed ones are dropped when they are met.
    std::unordered_map<std::string, std::map<Position, const Entry*>> m_ByTag;
    Position m_First = 0;
    Position m_Last = 0;
};

}  // namespace orvix
