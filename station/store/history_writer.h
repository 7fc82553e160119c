#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "station/model/station_setup.h"
#include "station/store/age_rule.h"
#include "station/store/history_store.h"
#include "station/store/pending_rows.h"

namespace orvix::station {

/// Brings what waits into the file, in turns. A turn that fails keeps the rows for the next one; a file that cannot be
/// used is replaced, at most once an hour. Time is handed in.
class HistoryWriter {
public:
    /// Called with one sentence when writing begins to fail and when it works again, when the file was replaced, and
    /// when rows are removed.
    using Say = std::function<void(const std::string&)>;

    /// `pending` outlives this.
    HistoryWriter(PendingRows& pending, std::string file, const HistorySetup& setup, HistorySession session, Say say);

    /// Writes what waits in one transaction, then removes what is too old or too much, a step at a time.
    void Turn(const ClockTimes& now);
    /// Whether the latest turn has written all that waited.
    bool Works() const { return !m_Fails; }
    /// The last turn. Returns how many readings have not come into the file.
    std::int64_t End(const ClockTimes& now);

private:
    void Work(const ClockTimes& now);
    void Open(const ClockTimes& now);
    void Write(const ClockTimes& now);
    void Retain(const ClockTimes& now);
    /// Returns whether there is more to remove.
    bool RemoveOld(const ClockTimes& now);
    bool RemoveTooMuch(const ClockTimes& now);
    bool RemoveCarried(const ClockTimes& now);
    void TellRemoved(const ClockTimes& now, const char* what, std::int64_t before, const std::string& reason);
    void Replace(const Error& damage, const ClockTimes& now);
    void Fails(const Error& error);

    PendingRows& m_Pending;
    const std::string m_File;
    const HistorySetup m_Setup;
    const HistorySession m_Session;
    const Say m_Say;
    HistoryBatch m_Batch;
    std::optional<HistoryStore> m_Store;
    AgeRule m_AgeRule;
    bool m_Fails = false;
    bool m_IsStarted = false;  ///< the age rule knows how the history was found
    std::size_t m_SeriesWritten = 0;
    std::int64_t m_Written = 0;              ///< when, since the machine started
    std::optional<std::int64_t> m_Replaced;  ///< when the file was, since the machine started
    int m_TurnsToRetention = 0;
    std::map<std::string, std::int64_t> m_Told;  ///< when a removal was told, by its reason
};

}  // namespace orvix::station
