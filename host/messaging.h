#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/IPlexaLinkTimer.h"
#include "host/error.h"
#include "host/variant.h"

namespace orvix {

/// What an endpoint's owner does with what arrives; each runs in the owner's apartment. Handlers that are not set
/// ignore the event.
struct ChannelEvents {
    std::function<void(const std::string& Message, bool& Handled)> CustomMessage;
    /// A work item: the name of the shared entry that holds a task.
    std::function<void(const std::string& MemoryMapKey, bool& Handled)> NewWork;
    std::function<void(const std::string& Text, std::int32_t Value, std::int32_t Minimum, std::int32_t Maximum,
                       bool& Handled)>
        OnProgress;
    /// The peer whose closing this endpoint asked for has gone.
    std::function<void(bool& Handled)> ServerDestroyed;
    /// The peer asks whether this endpoint may be closed; Cancel refuses.
    std::function<void(bool& Cancel)> QueryDestroy;
};

/// A named endpoint in the process-wide directory. What is sent to it is posted to its owner's apartment, never called.
class Channel {
public:
    virtual ~Channel() = default;

    virtual void Events(ChannelEvents events) = 0;
    /// Switches delivery of events on; off when created. What arrives while it is off is dropped.
    virtual void DeliverEvents(bool rhs) = 0;

    /// Own name. Writing it moves an active endpoint to the new name.
    virtual std::string Name() const = 0;
    virtual void Name(const std::string& rhs) = 0;
    /// Name of the endpoint that receives what is sent here.
    virtual std::string PeerName() const = 0;
    virtual void PeerName(const std::string& rhs) = 0;

    /// Enters the endpoint in the directory (true) or takes it out (false): one whose messages are dropped when nobody
    /// bears the peer's name.
    virtual void Activate(bool rhs) = 0;
    /// The same, for an endpoint that reports to a peer: sending when nobody bears the peer's name raises General.
    virtual void ActivateReporting(bool rhs) = 0;

    virtual void SendCustomMessage(const std::string& message) = 0;
    virtual void SendNewWork(const std::string& memoryMapKey) = 0;
    virtual void SendProgress(const std::string& text, std::int32_t value, std::int32_t minimum,
                              std::int32_t maximum) = 0;

    /// Whether the peer has been asked to close and has not refused.
    virtual bool PeerIsClosing() const = 0;
    /// Posts the destroy question to the peer. A refusal makes it askable again; when it agrees it leaves the directory
    /// after its handler has returned, and ServerDestroyed is posted here. So it is for a peer that is gone already, or
    /// goes before it has answered.
    virtual void ClosePeer() = 0;
};

/// What a shared entry holds. Lock the entry while reading or writing it.
struct SharedData {
    std::vector<ByteArray> ArgumentList;
    std::vector<ByteArray> ResultList;
    ErrorNumber e = 0;
    std::string eDescr;
    bool Processed = false;
    bool Cancelled = false;
};

/// Handle of a named, lockable shared memory entry. The entry lives as long as a handle to it is open.
class SharedEntry {
public:
    /// Gives back the lock that was taken by this handle.
    virtual ~SharedEntry() = default;

    /// Opens an existing entry. Raises General when there is none of that name.
    virtual void Open(const std::string& name) = 0;
    /// Opens a new entry. An empty name lets it choose its own.
    virtual void Create(const std::string& name) = 0;
    virtual std::string Name() const = 0;

    /// Waits while another thread holds the entry's lock. Raises General when the calling thread holds it itself, by
    /// whatever handle.
    virtual void Lock() = 0;
    /// Locks the entry unless anybody has. Returns whether it did.
    virtual bool TryLock() = 0;
    virtual void Unlock() = 0;
    virtual SharedData& Data() = 0;

    /// Tells how far the request in the entry has come: put in (false), or handed to who executes it (true).
    virtual void Published(bool handedOver) = 0;
    virtual bool HandedOver() const = 0;

    /// Marks the entry complete and wakes who waits for it.
    virtual void Complete(bool success) = 0;
    /// Waits until the entry is complete; on an apartment's own thread messages go on meanwhile.
    /// Returns whether it is complete.
    virtual bool WaitForCompletion(std::int32_t limitMs) = 0;
    /// Whether the entry is complete and was a success.
    virtual bool Succeeded() const = 0;
};

/// Carries requests to a server endpoint, one shared entry a request, and tells whose answer has come.
///
/// A request counts as answered when its entry, which nobody may hold locked, has a result, the processed flag or an
/// error code: so an answer that was lost, came twice or comes from elsewhere is never taken for another's.
class CallTracker {
public:
    virtual ~CallTracker() = default;

    /// Starts in asynchronous mode under a name of its own, for the server endpoint of that name.
    virtual void Start(const std::string& name, const std::string& serverName) = 0;

    /// Argument list of the request; sending does not empty it.
    virtual std::vector<ByteArray>& Arguments() = 0;
    /// Sends the request; an earlier one that is still unanswered is given up. Raises General when nobody bears the
    /// server's name.
    virtual void ExecuteAsync() = 0;
    /// Gives the request up: its answer will be dropped.
    virtual void GiveUp() = 0;
    /// The server has sent an answer. If the request waited for counts as answered, it and all sent before it are done
    /// with; otherwise the oldest that does is. A busy answer is that of the newest that does not. Returns whether the
    /// request waited for is done; Answer can be read then. Never waits for an entry's lock.
    virtual bool Completed(bool busyAnswer) = 0;
    /// What the entry of the request completed last held; nothing when the server was busy.
    virtual const SharedData& Answer() const = 0;

    /// Requests sent so far.
    virtual std::uint64_t SentCount() const = 0;
    /// Whether no answer has come yet for one of the first `count` requests.
    virtual bool AnyUnanswered(std::uint64_t count) const = 0;
};

/// Schedules FireTimer callbacks. One with delay 0 is a posted message. None comes after the link timer is gone.
class LinkTimer {
public:
    virtual ~LinkTimer() = default;
    virtual void Schedule(IPlexaLinkTimer& target, const std::string& strTimerLink, std::int32_t delayMs) = 0;
};

class Messaging {
public:
    virtual ~Messaging() = default;
    virtual std::unique_ptr<Channel> CreateChannel() = 0;
    virtual std::unique_ptr<SharedEntry> CreateSharedEntry() = 0;
    virtual std::unique_ptr<CallTracker> CreateCallTracker() = 0;
    virtual std::unique_ptr<LinkTimer> CreateLinkTimer() = 0;
    /// A text that no other call in this process and no other process returns.
    virtual std::string NewIdentifier() = 0;
};

}  // namespace orvix
