#include "station/store/pending_rows.h"

namespace orvix::station {
namespace {

std::optional<double> NumberOf(const ReadingValue& value) {
    if (const auto* degrees = std::get_if<double>(&value)) return *degrees;
    if (const auto* inputs = std::get_if<std::int32_t>(&value)) return *inputs;
    return std::nullopt;
}

Failure NotKept() {
    return {errors::General, "The reading could not be recorded", {}};
}

}  // namespace

std::size_t PendingRows::IndexOf(const Reading& reading) {
    SeriesKey key{reading.Port, reading.Address, reading.Model, reading.Name, reading.Variable};
    const auto [entry, isNew] = m_Indexes.try_emplace(std::move(key), m_Indexes.size());
    if (isNew) m_Rows.Series.emplace_back(entry->first, reading.UnixMilliseconds);
    return entry->second;
}

void PendingRows::Add(const Reading& reading) {
    const auto value = NumberOf(reading.Value);
    if (reading.Valid() && !value) return;  // a text
    const std::lock_guard lock(m_Mutex);
    const auto series = IndexOf(reading);
    if (!value) {
        Extend(series, reading.UnixMilliseconds, reading.Error);
    } else if (IsFull()) {
        ++m_Lost;
        Extend(series, reading.UnixMilliseconds, NotKept());
    } else {
        m_Open.erase(series);
        m_Rows.Readings.push_back({series, reading.UnixMilliseconds, *value});
    }
}

/// A gap goes on while its reason stays the same. When there is no room for another row it goes on in any case.
void PendingRows::Extend(std::size_t series, std::int64_t time, const Failure& failure) {
    auto open = m_Open.find(series);
    if (open == m_Open.end() || (open->second.second.Code != failure.Code && !IsFull())) {
        open = m_Open.insert_or_assign(series, std::pair(time, Gap{time, 0, failure.Code, failure.Text})).first;
    }
    auto& [from, gap] = open->second;
    gap.To = time;
    ++gap.Count;
    m_Rows.Gaps[{series, from}] = gap;
}

void PendingRows::Add(const AlarmEvent& alarm) {
    const std::lock_guard lock(m_Mutex);
    const std::tuple key(alarm.Port, alarm.Address, alarm.KindText());
    if (alarm.Starts) {
        const HistoryEvent event{.Time = alarm.UnixMilliseconds,
                                 .Port = alarm.Port,
                                 .Address = alarm.Address,
                                 .Kind = alarm.KindText(),
                                 .Text = alarm.Text(),
                                 .Value = alarm.Value,
                                 .Ended = {}};
        m_Alarms.insert_or_assign(key, std::pair(++m_LatestEvent, event));
        m_Rows.Events.emplace(m_LatestEvent, event);
    } else if (const auto lasting = m_Alarms.extract(key)) {
        auto& [number, event] = lasting.mapped();
        event.Ended = alarm.UnixMilliseconds;
        m_Rows.Events.insert_or_assign(number, event);
    }
}

void PendingRows::TakeInto(HistoryBatch& batch) {
    const std::lock_guard lock(m_Mutex);
    batch.Series.insert(batch.Series.end(), m_Rows.Series.begin() + static_cast<std::ptrdiff_t>(batch.Series.size()),
                        m_Rows.Series.end());
    batch.Readings.insert(batch.Readings.end(), m_Rows.Readings.begin(), m_Rows.Readings.end());
    for (auto& [key, gap] : m_Rows.Gaps)
        batch.Gaps.insert_or_assign(key, std::move(gap));
    for (auto& [number, event] : m_Rows.Events)
        batch.Events.insert_or_assign(number, std::move(event));
    m_Rows.ClearRows();
    m_Taken = batch.Rows();
}

void PendingRows::Written() {
    const std::lock_guard lock(m_Mutex);
    m_Taken = 0;
}

std::int64_t PendingRows::TakeLost() {
    const std::lock_guard lock(m_Mutex);
    return std::exchange(m_Lost, 0);
}

}  // namespace orvix::station
