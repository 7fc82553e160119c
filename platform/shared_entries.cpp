#include "platform/shared_entries.h"

#include <atomic>
#include <set>
#include <thread>
#include <utility>

namespace orvix::platform {

/// A mutex that knows its thread, which would wait for itself for ever.
class ThreadLock {
public:
    bool IsHeldHere() const { return m_Holder == std::this_thread::get_id(); }
    void lock() {
        m_Mutex.lock();
        m_Holder = std::this_thread::get_id();
    }
    bool try_lock() {
        if (IsHeldHere() || !m_Mutex.try_lock()) return false;
        m_Holder = std::this_thread::get_id();
        return true;
    }
    void unlock() {
        m_Holder = std::thread::id();
        m_Mutex.unlock();
    }

private:
    std::mutex m_Mutex;
    std::atomic<std::thread::id> m_Holder;
};

class SharedEntryState {
public:
    SharedEntryState(std::shared_ptr<Directory::Entries> home, std::string name)
        : Name(std::move(name)), m_Home(std::move(home)) {}
    SharedEntryState(const SharedEntryState&) = delete;
    SharedEntryState& operator=(const SharedEntryState&) = delete;
    ~SharedEntryState() { m_Home->Forget(Name); }

    const std::string Name;
    ThreadLock DataLock;
    SharedData Data;

    void Published(bool handedOver) {
        const std::lock_guard lock(m_Mutex);
        m_HandedOver = handedOver;
    }
    bool HandedOver() {
        const std::lock_guard lock(m_Mutex);
        return m_HandedOver;
    }
    void Complete(bool success) {
        const std::lock_guard lock(m_Mutex);
        m_Completed = true;
        m_Succeeded = success;
        // A message wakes the waiter's loop, which then finds the entry complete. Under the lock, because a waiter is
        // free to go, with its apartment, once it has removed itself.
        for (Apartment* waiter : m_Waiters)
            waiter->Post([] {});
    }
    bool Completed() {
        const std::lock_guard lock(m_Mutex);
        return m_Completed;
    }
    bool Succeeded() {
        const std::lock_guard lock(m_Mutex);
        return m_Completed && m_Succeeded;
    }
    void AddWaiter(Apartment& apartment) {
        const std::lock_guard lock(m_Mutex);
        m_Waiters.insert(&apartment);
    }
    void RemoveWaiter(Apartment& apartment) {
        const std::lock_guard lock(m_Mutex);
        m_Waiters.erase(m_Waiters.find(&apartment));
    }

private:
    std::shared_ptr<Directory::Entries> m_Home;
    std::mutex m_Mutex;  ///< guards all but the data: an entry may be completed while its data is locked
    bool m_HandedOver = false;
    bool m_Completed = false;
    bool m_Succeeded = false;
    std::multiset<Apartment*> m_Waiters;
};

std::shared_ptr<SharedEntryState> Directory::Entries::Open(const std::string& name) {
    const std::lock_guard lock(m_Mutex);
    const auto found = m_ByName.find(name);
    auto state = found == m_ByName.end() ? nullptr : found->second.lock();
    if (!state) throw Error(errors::General, "There is no shared entry named \"" + name + "\"");
    return state;
}

std::shared_ptr<SharedEntryState> Directory::Entries::Create(const std::string& name) {
    // Made before the lock is taken: when the name is refused, its end asks for the lock too.
    auto state = std::make_shared<SharedEntryState>(shared_from_this(), name);
    const std::lock_guard lock(m_Mutex);
    auto& place = m_ByName[name];
    if (!place.expired()) throw Error(errors::General, "There is a shared entry named \"" + name + "\" already");
    place = state;
    return state;
}

void Directory::Entries::Forget(const std::string& name) {
    const std::lock_guard lock(m_Mutex);
    const auto found = m_ByName.find(name);
    if (found != m_ByName.end() && found->second.expired()) m_ByName.erase(found);
}

namespace {

class Waiting {
public:
    Waiting(SharedEntryState& state, Apartment& apartment) : m_State(state), m_Apartment(apartment) {
        m_State.AddWaiter(m_Apartment);
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting() { m_State.RemoveWaiter(m_Apartment); }

private:
    SharedEntryState& m_State;
    Apartment& m_Apartment;
};

class ProcessEntry : public SharedEntry {
public:
    ProcessEntry(std::shared_ptr<Directory::Entries> entries, Messaging& messaging, Apartment& apartment)
        : m_Entries(std::move(entries)), m_Messaging(messaging), m_Apartment(apartment) {}

    void Open(const std::string& name) override { Hold(m_Entries->Open(name)); }
    void Create(const std::string& name) override {
        Hold(m_Entries->Create(name.empty() ? m_Messaging.NewIdentifier() : name));
    }
    std::string Name() const override { return Opened().Name; }

    void Lock() override {
        if (Opened().DataLock.IsHeldHere()) {
            throw Error(errors::General, "The shared entry \"" + Name() + "\" is locked by this very thread");
        }
        m_Lock.lock();
    }
    bool TryLock() override {
        Opened();
        return !m_Lock.owns_lock() && m_Lock.try_lock();
    }
    void Unlock() override {
        if (m_Lock.owns_lock()) m_Lock.unlock();
    }
    SharedData& Data() override { return Opened().Data; }

    void Published(bool handedOver) override { Opened().Published(handedOver); }
    bool HandedOver() const override { return Opened().HandedOver(); }
    void Complete(bool success) override { Opened().Complete(success); }
    bool Succeeded() const override { return Opened().Succeeded(); }
    bool WaitForCompletion(std::int32_t limitMs) override {
        Opened();
        const auto state = m_State;  // what is delivered meanwhile may release this handle
        const Waiting waiting(*state, m_Apartment);
        return m_Apartment.PumpUntil([&state] { return state->Completed(); }, std::chrono::milliseconds(limitMs));
    }

private:
    SharedEntryState& Opened() const {
        if (!m_State) throw Error(errors::General, "No shared entry is open");
        return *m_State;
    }
    void Hold(std::shared_ptr<SharedEntryState> state) {
        m_Lock = {};
        m_State = std::move(state);
        m_Lock = std::unique_lock(m_State->DataLock, std::defer_lock);
    }

    std::shared_ptr<Directory::Entries> m_Entries;
    Messaging& m_Messaging;
    Apartment& m_Apartment;
    std::shared_ptr<SharedEntryState> m_State;
    std::unique_lock<ThreadLock> m_Lock;
};

}  // namespace

std::unique_ptr<SharedEntry> CreateProcessEntry(std::shared_ptr<Directory::Entries> entries, Messaging& messaging,
                                                Apartment& apartment) {
    return std::make_unique<ProcessEntry>(std::move(entries), messaging, apartment);
}

}  // namespace orvix::platform
