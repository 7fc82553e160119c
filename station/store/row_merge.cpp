#include "station/store/row_merge.h"

#include <utility>

namespace orvix::station {

void RowMerge::Add(const StoredDevice& device, std::vector<HistoryRow> notRead) {
    const auto add = [this](Source source) {
        m_Sources.push_back(std::make_unique<Source>(std::move(source)));
        m_Waiting.push(m_Sources.back().get());
    };
    const auto index = m_Devices.size();
    for (const auto& series : device.Series) {
        if (series.From >= m_Period.Until || series.To < m_Period.Since) continue;
        add({.Time = series.From, .Device = index, .Series = series.Row});
    }
    if (!notRead.empty()) {
        const auto time = notRead.front().Time;
        add({.Time = time, .Device = index, .Rows = std::move(notRead)});
    }
    m_Devices.push_back(&device);
}

const HistoryRow* RowMerge::Source::Current() const {
    if (Series != 0) return Cursor->Current();
    return NextRow < Rows.size() ? &Rows[NextRow] : nullptr;
}

/// A source that is at its end is closed, any other waits until it is the first one again.
const HistoryRow* RowMerge::Next() {
    if (m_First != nullptr) {
        if (m_First->Series == 0) {
            ++m_First->NextRow;
        } else {
            m_First->Cursor->Next();
        }
        const auto* row = m_First->Current();
        if (row != nullptr) m_First->Time = row->Time;
        if (row != nullptr && (m_Waiting.empty() || m_First->Rank() < m_Waiting.top()->Rank())) return row;
        if (row != nullptr) m_Waiting.push(m_First);
        if (row == nullptr) m_First->Cursor.reset();
    }
    TakeFirst();
    return m_First == nullptr ? nullptr : m_First->Current();
}

void RowMerge::TakeFirst() {
    m_First = nullptr;
    while (!m_Waiting.empty()) {
        auto* source = m_Waiting.top();
        m_Waiting.pop();
        if (source->Series == 0 || source->Cursor) {
            m_First = source;
            return;
        }
        source->Cursor =
            std::make_unique<SeriesCursor>(m_Connection, *m_Devices[source->Device], source->Series, m_Period, m_Rows);
        if (const auto* row = source->Current()) {
            source->Time = row->Time;
            m_Waiting.push(source);
        } else {
            source->Cursor.reset();
        }
    }
}

}  // namespace orvix::station
