#pragma once

#include <functional>
#include <optional>
#include <string>

#include "station/model/station_setup.h"
#include "station/store/history_store.h"
#include "station/store/pending_rows.h"

namespace orvix::station {

/// Brings what waits into the file, in turns. A turn that fails keeps the rows for the next one. Time is handed in,
/// milliseconds since 1970.
class HistoryWriter {
public:
    /// Called with one sentence when writing begins to fail and when it works again, and when another station writes
    /// the same file.
    using Say = std::function<void(const std::string&)>;

    /// `pending` outlives this.
    HistoryWriter(PendingRows& pending, std::string file, const HistorySetup& setup, HistorySession session, Say say);

    /// Writes what waits in one transaction, then removes what is too old or too much, a step at a time.
    void Turn(std::int64_t now);
    /// The last turn. Returns how many readings have not come into the file.
    std::int64_t End(std::int64_t now);

private:
    void Open(std::int64_t now);
    void Write(std::int64_t now);
    void Retain(std::int64_t now);

    PendingRows& m_Pending;
    const std::string m_File;
    const HistorySetup m_Setup;
    const HistorySession m_Session;
    const Say m_Say;
    HistoryBatch m_Batch;
    std::optional<HistoryStore> m_Store;
    bool m_Fails = false;
    int m_TurnsToRetention = 0;
};

}  // namespace orvix::station
