#include "station/sink/history/watched_turns.h"

#include <utility>

namespace orvix::station {
namespace {

// With the time that writing takes, less than a second.
constexpr std::chrono::milliseconds kPause{700};

// Another program that writes the file may keep it for seconds; a disk that hangs keeps it for longer.
constexpr std::chrono::seconds kStillLimit{15};
constexpr std::int32_t kLookPeriodMs = 5000;

constexpr Duration kNoTurn = Duration::max();

}  // namespace

WatchedTurns::WatchedTurns(Apartment& home, std::function<void()> turn, std::function<void(bool)> tell)
    : m_Home(home),
      m_Turn(std::move(turn)),
      m_Tell(std::move(tell)),
      m_Began(kNoTurn),
      m_Look(home.CreateTimer([this] { Look(); })),
      m_Thread([this] { Work(); }) {
    m_Look->Rearm(kLookPeriodMs, true);
}

void WatchedTurns::Work() {
    std::unique_lock lock(m_Mutex);
    while (!m_Stop) {
        lock.unlock();
        m_Began = m_Home.Now();
        m_Turn();
        m_Began = kNoTurn;
        lock.lock();
        m_Wake.wait_for(lock, kPause, [this] { return m_Stop; });
    }
}

std::optional<Duration> WatchedTurns::StandStill() const {
    const auto began = m_Began.load();
    const auto lasted = began == kNoTurn ? Duration::zero() : m_Home.Now() - began;
    return lasted > kStillLimit ? std::make_optional(lasted) : std::nullopt;
}

void WatchedTurns::Look() {
    const bool isStill = StandStill().has_value();
    if (isStill != std::exchange(m_IsStill, isStill)) m_Tell(isStill);
}

void WatchedTurns::End() {
    if (!m_Thread.joinable()) return;
    {
        const std::lock_guard lock(m_Mutex);
        m_Stop = true;
    }
    m_Wake.notify_one();
    m_Thread.join();
}

}  // namespace orvix::station
