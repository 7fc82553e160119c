#pragma once

#include <vector>

#include "platform/sqlite_connection.h"
#include "station/model/history_query.h"
#include "station/store/stored_device.h"

namespace orvix::station {

/// The readings and gaps of one series in order of time, a page of each in memory. A gap that has begun before the
/// period and reaches into it comes first.
class SeriesCursor {
public:
    enum class Rows { All, OnlyGaps };

    /// Connection and device outlive this.
    SeriesCursor(platform::SqliteConnection& connection, const StoredDevice& device, std::int64_t series,
                 const Period& period, Rows rows = Rows::All);

    /// Null at the end. What it points to changes with Next.
    const HistoryRow* Current() const { return m_IsAtEnd ? nullptr : &m_Row; }
    void Next();

private:
    struct StoredReading {
        std::int64_t Time;
        double Value;
        Doubt Why;
    };
    struct StoredGap {
        std::int64_t Time;
        std::int64_t Until;
        std::int64_t Count;
        Failure Reason;
    };
    /// Rows of one table, in pages.
    template <class Row>
    struct Pages {
        platform::SqliteStatement Select;
        std::vector<Row> Page{};
        std::size_t Next = 0;
        bool IsLast = false;

        /// The next row, or null.
        const Row* Peek(Row (*rowOf)(platform::SqliteStatement&));
    };

    static StoredReading ReadingOf(platform::SqliteStatement& row);
    static StoredGap GapOf(platform::SqliteStatement& row);
    void Take(const StoredReading& reading);
    void Take(const StoredGap& gap);

    Pages<StoredReading> m_Readings;
    Pages<StoredGap> m_Gaps;
    HistoryRow m_Row{};
    bool m_IsInputs;
    bool m_IsAtEnd = false;
};

}  // namespace orvix::station
