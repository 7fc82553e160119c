#pragma once

#include <memory>
#include <queue>
#include <tuple>
#include <vector>

#include "station/store/series_cursor.h"

namespace orvix::station {

/// The rows of several devices in order of time. A series is opened when its turn comes, however many there are.
class RowMerge {
public:
    /// The connection outlives this.
    RowMerge(platform::SqliteConnection& connection, const Period& period, SeriesCursor::Rows rows)
        : m_Connection(connection), m_Period(period), m_Rows(rows) {}

    /// Adds a device with its series, and times in which nobody has read it. The device outlives this.
    void Add(const StoredDevice& device, std::vector<HistoryRow> notRead);

    /// Goes to the next row, at first to the first one. Null at the end. What it points to lasts until the next call.
    const HistoryRow* Next();

private:
    /// A series, or rows that are here already.
    struct Source {
        std::int64_t Time = 0;    ///< of its row, or the earliest that one of a series that is not open can have
        std::size_t Device = 0;   ///< in the order of Add
        std::int64_t Series = 0;  ///< 0: none
        std::unique_ptr<SeriesCursor> Cursor{};
        std::vector<HistoryRow> Rows{};
        std::size_t NextRow = 0;

        const HistoryRow* Current() const;
        auto Rank() const { return std::tuple(Time, Device, Series == 0); }
    };
    struct IsLater {
        bool operator()(const Source* a, const Source* b) const { return a->Rank() > b->Rank(); }
    };

    /// Makes the source whose row is next the first one; none at the end.
    void TakeFirst();

    platform::SqliteConnection& m_Connection;
    const Period m_Period;
    const SeriesCursor::Rows m_Rows;
    std::vector<const StoredDevice*> m_Devices;
    std::vector<std::unique_ptr<Source>> m_Sources;
    std::priority_queue<Source*, std::vector<Source*>, IsLater> m_Waiting;
    Source* m_First = nullptr;  ///< has told the latest row
};

}  // namespace orvix::station
