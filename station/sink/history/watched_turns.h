#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "host/apartment.h"

namespace orvix::station {

/// Work in turns on a thread of its own, at least one a second, which is watched from an apartment: a turn may stand
/// still, as the disk does that it needs.
class WatchedTurns {
public:
    /// `turn` is called on the thread. `tell` is called in `home` when a turn has begun to stand still, and when it no
    /// longer does.
    WatchedTurns(Apartment& home, std::function<void()> turn, std::function<void(bool isStill)> tell);
    ~WatchedTurns() { End(); }
    WatchedTurns(const WatchedTurns&) = delete;
    WatchedTurns& operator=(const WatchedTurns&) = delete;

    /// How long the turn has lasted that is under way, when that is too long.
    std::optional<Duration> StandStill() const;
    /// Waits for the turn that is under way, which is the last one.
    void End();

private:
    void Work();
    void Look();

    Apartment& m_Home;
    const std::function<void()> m_Turn;
    const std::function<void(bool)> m_Tell;
    std::atomic<Duration> m_Began;
    bool m_IsStill = false;
    std::unique_ptr<Timer> m_Look;
    std::mutex m_Mutex;
    std::condition_variable m_Wake;
    bool m_Stop = false;
    std::thread m_Thread;
};

}  // namespace orvix::station
