#pragma once

#include <poll.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "host/apartment.h"
#include "platform/file_descriptor.h"
#include "platform/timer_queue.h"

namespace orvix::platform {

/// A descriptor that a RealApartment waits for as long as this lives.
class DescriptorWatch {
public:
    explicit DescriptorWatch(std::function<void()> end) : m_End(std::move(end)) {}
    ~DescriptorWatch() { m_End(); }
    DescriptorWatch(const DescriptorWatch&) = delete;
    DescriptorWatch& operator=(const DescriptorWatch&) = delete;

private:
    std::function<void()> m_End;
};

/// The apartment of the thread that creates it: Run delivers messages and ticks there, and sleeps in between. An
/// exception that leaves a message or tick leaves Run or PumpUntil; either can be called again and goes on with what
/// comes next. Messages that are still queued when the apartment goes are dropped.
///
/// In each turn of the loop the descriptors that are ready are handled first, then one message, else one tick that is
/// due: a flood of messages keeps no descriptor waiting, nor one of input any message or tick.
class RealApartment : public Apartment {
public:
    /// Raises SystemError when the process has no descriptor left.
    RealApartment();

    /// Delivers until Quit.
    void Run();
    /// Makes Run return, after the messages posted so far. May be called from any thread.
    void Quit();

    /// Calls `ready` in each turn in which `descriptor` is ready for one of `events`, or has an error or its end, with
    /// what it is ready for: bits as poll has them. A handler that does not take away what makes the descriptor ready
    /// is called again and again. `descriptor` and this apartment outlive the result; used on the apartment's thread.
    std::unique_ptr<DescriptorWatch> Watch(int descriptor, short events, std::function<void(short)> ready);

    /// The system's number of the thread.
    std::int32_t ThreadID() const override { return m_ThreadID; }
    Duration Now() const override;
    Date DateNow() const override;
    void Post(std::function<void()> message) override;
    std::unique_ptr<Timer> CreateTimer(std::function<void()> tick) override;
    bool PumpUntil(const std::function<bool()>& done, Duration limit) override;
    void Block(Duration time) override;

private:
    struct Watched {
        int Descriptor;
        short Events;
        std::function<void(short)> Ready;
    };

    /// One turn, sleeping until there is something to do, at most until `end`.
    void DeliverNext(Duration end);
    void HandleDescriptors(Duration end);
    /// Sleeps until a message, a descriptor or `end`, whichever comes first; not at all when a message waits. Returns
    /// the watched descriptors with what they are ready for.
    std::vector<pollfd> Wait(Duration end);
    std::optional<std::function<void()>> TakeMessage();

    std::int32_t m_ThreadID;
    bool m_Quit = false;
    TimerQueue m_Timers;
    std::map<std::uint64_t, Watched> m_Watched;  ///< in the order in which they were added
    std::uint64_t m_LatestWatch = 0;
    const std::shared_ptr<const FileDescriptor> m_Wake;
    std::mutex m_Mutex;  ///< guards what follows: all else is the thread's own
    std::deque<std::function<void()>> m_Messages;
    bool m_Sleeps = false;  ///< a message has to wake the thread
};

}  // namespace orvix::platform
