#pragma once

#include <vector>

#include "station/store/history_reader.h"

namespace orvix::station {

/// The rows of one series in order of time, a page in memory at a time.
class SeriesCursor {
public:
    /// Connection and series outlive this. `notRunning` are rows to be put in between.
    SeriesCursor(platform::SqliteConnection& connection, const StoredSeries& series, const Period& period,
                 std::vector<HistoryRow> notRunning);

    /// Null at the end.
    const HistoryRow* Current() const;
    void Next();

private:
    void LoadEarlierGap(platform::SqliteConnection& connection);
    void LoadPage();
    HistoryRow RowOf(platform::SqliteStatement& statement) const;
    bool IsInsertedNext() const;

    const StoredSeries& m_Series;
    Period m_Rest;
    std::vector<HistoryRow> m_NotRunning;
    std::size_t m_NextNotRunning = 0;
    platform::SqliteStatement m_Select;
    std::vector<HistoryRow> m_Page;
    std::size_t m_Next = 0;
    bool m_IsLastPage = false;
};

}  // namespace orvix::station
