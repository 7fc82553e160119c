#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "station/store/outbox_reader.h"

namespace orvix::station {

/// A batch of recorded rows as JSON: "history", "from", "to", "skipped", and "rows", each with its number "n" and its
/// "event": "reading", "gap" or "alarm". What others in JSON have too is written as there.
std::string HistoryPayload(const OutboxBatch& batch);

/// That somebody wants rows again.
struct HistoryRequest {
    std::string History;    ///< UUID; empty: of each
    std::int64_t From = 0;  ///< number of the first row, 1 or more
};

/// What stands in {"from": 4711, "history": UUID}; nothing for another text.
std::optional<HistoryRequest> HistoryRequestOf(const std::string& payload);

}  // namespace orvix::station
