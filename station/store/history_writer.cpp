#include "station/store/history_writer.h"

#include <algorithm>

#include "host/error.h"

namespace orvix::station {
namespace {

// When there is nothing left to remove.
constexpr int kTurnsBetweenRetention = 60;

std::string Readings(std::int64_t count) {
    return std::to_string(count) + (count == 1 ? " reading" : " readings");
}

}  // namespace

HistoryWriter::HistoryWriter(PendingRows& pending, std::string file, const HistorySetup& setup, HistorySession session,
                             Say say)
    : m_Pending(pending), m_File(std::move(file)), m_Setup(setup), m_Session(session), m_Say(std::move(say)) {}

void HistoryWriter::Turn(std::int64_t now) {
    m_Pending.TakeInto(m_Batch);
    try {
        if (!m_Store) Open(now);
        Write(now);
        Retain(now);
    } catch (...) {
        // A connection that has failed may hold a lock or half a transaction.
        m_Store.reset();
        if (std::exchange(m_Fails, true)) return;
        m_Say("the history is not written: " + CurrentError().Description +
              "; readings wait in memory until it works again");
    }
}

void HistoryWriter::Open(std::int64_t now) {
    m_Store.emplace(m_File, m_Session, now);
}

void HistoryWriter::Write(std::int64_t now) {
    m_Store->Write(m_Batch, now);
    m_Batch.ClearRows();
    m_Pending.Written();
    const auto lost = m_Pending.TakeLost();
    if (std::exchange(m_Fails, false) || lost > 0) m_Say("history: written again; " + Readings(lost) + " lost");
}

void HistoryWriter::Retain(std::int64_t now) {
    if (--m_TurnsToRetention > 0) return;
    auto cutoff = now - std::chrono::milliseconds(m_Setup.Keep).count();
    const bool isTooBig = m_Store->UsedBytes() > m_Setup.MostBytes;
    const auto oldest = m_Store->Oldest();
    // A hundredth of the time that the history spans.
    if (isTooBig && oldest) cutoff = std::max(cutoff, *oldest + (now - *oldest) / 100 + 1);
    const bool isMore = m_Store->Remove(cutoff);
    m_TurnsToRetention = isMore || (isTooBig && oldest) ? 0 : kTurnsBetweenRetention;
}

std::int64_t HistoryWriter::End(std::int64_t now) {
    Turn(now);
    if (m_Store) Attempt([&] { m_Store->End(); });
    return static_cast<std::int64_t>(m_Batch.Readings.size()) + m_Pending.TakeLost();
}

}  // namespace orvix::station
