#include "station/store/history_writer.h"

#include <algorithm>

#include "host/error.h"
#include "station/model/clock.h"
#include "station/store/history_rescue.h"
#include "station/words/quantity_text.h"

namespace orvix::station {
namespace {

// When there is nothing left to remove.
constexpr int kTurnsBetweenRetention = 60;

constexpr std::int64_t kDay = 24 * kHour;

// The size is kept by taking single readings away while they reach farther back than this, then roll-ups.
constexpr std::int64_t kReadingsKeptLongest = 7 * kDay;

}  // namespace

HistoryWriter::HistoryWriter(PendingRows& pending, std::string file, const HistorySetup& setup, HistorySession session,
                             Say say)
    : m_Pending(pending),
      m_File(std::move(file)),
      m_Setup(setup),
      m_Session(std::move(session)),
      m_Say(std::move(say)) {}

void HistoryWriter::Turn(const ClockTimes& now) {
    m_Pending.TakeInto(m_Batch, now);
    if (m_Pending.TakeClockWasSet()) m_AgeRule.ClockWasSet(now.Boot);
    try {
        Work(now);
    } catch (const platform::UnusableDatabase& damage) {
        Replace(damage, now);
    } catch (...) {
        Fails(CurrentError());
    }
}

void HistoryWriter::Work(const ClockTimes& now) {
    if (!m_Store) Open(now);
    Write(now);
    Retain(now);
}

void HistoryWriter::Open(const ClockTimes& now) {
    m_Store.emplace(m_File, m_Session, now.Unix);
    if (!std::exchange(m_IsStarted, true)) m_AgeRule.Start(now.Unix, now.Boot, m_Store->Newest());
}

void HistoryWriter::Replace(const Error& damage, const ClockTimes& now) {
    m_Store.reset();
    m_SeriesWritten = 0;
    // A medium that spoils every file is not to be filled with them.
    if (m_Replaced && now.Boot - *m_Replaced < kHour) return Fails(damage);
    m_Replaced = now.Boot;
    try {
        const auto done = ReplaceUnusableHistory(m_File, now.Unix);
        m_Say(damage.Description + "; " + done);
        m_Pending.Add(HistoryEvent{now.Unix, "damaged", damage.Description + "; " + done});
        Work(now);
    } catch (...) {
        Fails(CurrentError());
    }
}

void HistoryWriter::Fails(const Error& error) {
    // A connection that has failed may hold a lock or half a transaction.
    m_Store.reset();
    if (std::exchange(m_Fails, true)) return;
    m_Say("the history cannot be written: " + error.Description + "; readings wait in memory until it works again");
}

void HistoryWriter::Write(const ClockTimes& now) {
    const bool isBeatDue = now.Boot - m_Written >= m_Session.Beat / 2;
    if (m_Batch.Rows() == 0 && m_Batch.Series.size() == m_SeriesWritten && !isBeatDue && !m_Fails) return;
    m_Store->Write(m_Batch, now.Unix);
    m_Written = now.Boot;
    m_SeriesWritten = m_Batch.Series.size();
    m_Batch.ClearRows();
    m_Pending.Written();
    const auto lost = m_Pending.TakeLost();
    if (std::exchange(m_Fails, false) || lost > 0)
        m_Say("history: written again; " + Counted(lost, "reading") + " lost");
}

/// What is not rolled up yet stays.
void HistoryWriter::Retain(const ClockTimes& now) {
    if (--m_TurnsToRetention > 0) return;
    const bool isMore = m_Store->RollUpLeftOver(now.Unix) || RemoveOld(now) || RemoveCarried(now) ||
                        RemoveTooMuch(now) || m_Store->Removal().Shrink();
    m_TurnsToRetention = isMore ? 0 : kTurnsBetweenRetention;
}

bool HistoryWriter::RemoveOld(const ClockTimes& now) {
    if (m_AgeRule.Rests(now.Boot)) return false;
    auto& removal = m_Store->Removal();
    const auto before = [&](std::chrono::hours keep) { return now.Unix - std::chrono::milliseconds(keep).count(); };
    const auto oldest = before(m_Setup.Keep);
    const auto readings = removal.RemoveReadings(oldest);
    if (readings > 0) TellRemoved(now, "readings", oldest, "older than [history] keep");
    const auto oldestTrace = before(std::max(m_Setup.Keep, m_Setup.KeepRollUps));
    const auto traces = removal.RemoveTraces(oldestTrace);
    if (traces > 0) TellRemoved(now, "minutes, hours and alarms", oldestTrace, "older than [history] keep_rollups");
    return std::max(readings, traces) >= HistoryRemoval::kStep;
}

bool HistoryWriter::RemoveTooMuch(const ClockTimes& now) {
    auto& removal = m_Store->Removal();
    if (removal.UsedBytes() <= m_Setup.MostBytes) return false;
    const auto reading = removal.OldestReading();
    const auto rollUp = removal.OldestRollUp();
    const std::string reason = "the file is larger than [history] max_size";
    const bool isShort = reading && now.Unix - kReadingsKeptLongest <= *reading;
    if (rollUp && (!reading || (isShort && *rollUp < *reading / kMinute * kMinute))) {
        const auto before = std::min(*rollUp + kDay, reading.value_or(*rollUp + kDay));
        TellRemoved(now, "minutes, hours and alarms", before, reason);
        return removal.RemoveTraces(before) > 0;
    }
    const auto before = removal.EndOfOldestReadings();
    if (!before) return false;
    TellRemoved(now, "readings", *before, reason);
    return removal.RemoveReadings(*before) > 0;
}

/// What waits for brokers goes with the readings that it refers to.
bool HistoryWriter::RemoveCarried(const ClockTimes& now) {
    const bool rests = m_AgeRule.Rests(now.Boot);
    const auto before = [&](std::chrono::hours keep) {
        return rests ? 0 : now.Unix - std::chrono::milliseconds(keep).count();
    };
    auto& removal = m_Store->Removal();
    auto kept = before(m_Setup.Keep);
    if (removal.UsedBytes() > m_Setup.MostBytes) kept = std::max(kept, removal.OldestReading().value_or(now.Unix));
    const auto removed = m_Store->Outbox().RemoveOld(before(m_Batch.Resend), kept, now.Unix, HistoryRemoval::kStep);
    if (removed.Unsent > 0) TellRemoved(now, "rows that wait for a broker", kept, "their readings are no longer kept");
    return std::max(removed.Sent, removed.Unsent) == HistoryRemoval::kStep;
}

/// Once a day for each reason: rows grow old all the time.
void HistoryWriter::TellRemoved(const ClockTimes& now, const char* what, std::int64_t before,
                                const std::string& reason) {
    const auto told = m_Told.find(what + reason);
    if (told != m_Told.end() && now.Boot - told->second < kDay) return;
    m_Told[what + reason] = now.Boot;
    const std::string text = std::string("removed ") + what + " from before " + IsoText(before) + ": " + reason;
    m_Say("history: " + text);
    m_Pending.Add(HistoryEvent{now.Unix, "removed", text});
}

std::int64_t HistoryWriter::End(const ClockTimes& now) {
    m_Pending.End();
    Turn(now);
    if (m_Store) Attempt([&] { m_Store->End(); });
    return static_cast<std::int64_t>(m_Batch.Readings.size()) + m_Pending.TakeLost();
}

}  // namespace orvix::station
