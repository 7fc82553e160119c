#pragma once

#include <cstdint>
#include <vector>

#include "station/store/history_reader.h"

namespace orvix::station {

/// What the readings of a slice of time come to.
struct HistorySlice {
    std::int64_t Begin = 0;  ///< milliseconds since 1970
    station::Figures Figures;
};

/// A period of one device in slices of equal width, those without readings left out.
struct HistorySlices {
    std::int64_t Width = 0;  ///< milliseconds
    std::vector<HistorySlice> Slices;
};

/// About `most` slices, at least 1, of a period: from the minutes and hours that are kept where a slice is as wide,
/// else, and where no single readings are kept any more, from what there is. The first slice begins at or before the
/// period.
HistorySlices SlicesOf(HistoryReader& reader, const StoredDevice& device, const Period& period, std::int64_t most);

/// The times without readings in a period, in order. Those that follow each other within `width` for one reason are
/// one.
std::vector<HistoryRow> GapsOf(HistoryReader& reader, const StoredDevice& device, const Period& period,
                               std::int64_t width);

}  // namespace orvix::station
