#include "station/sink/history/history_recorder.h"

#include <unistd.h>

#include "station/model/clock.h"

namespace orvix::station {
namespace {

constexpr std::size_t kMostPending = 100'000;

// With the time that writing takes, less than a second.
constexpr std::chrono::milliseconds kTurn{700};

}  // namespace

HistoryRecorder::HistoryRecorder(std::string file, const HistorySetup& setup, HistoryWriter::Say say)
    : m_Pending(kMostPending),
      m_Writer(m_Pending, std::move(file), setup, {UnixMilliseconds(), ::getpid()}, std::move(say)),
      m_Thread([this] { WriteInTurns(); }) {}

void HistoryRecorder::WriteInTurns() {
    std::unique_lock lock(m_Mutex);
    while (!m_Stop) {
        lock.unlock();
        m_Writer.Turn(UnixMilliseconds());
        lock.lock();
        m_Wake.wait_for(lock, kTurn, [this] { return m_Stop; });
    }
}

std::int64_t HistoryRecorder::Close() {
    if (!m_Thread.joinable()) return 0;
    {
        const std::lock_guard lock(m_Mutex);
        m_Stop = true;
    }
    m_Wake.notify_one();
    m_Thread.join();
    return m_Writer.End(UnixMilliseconds());
}

}  // namespace orvix::station
