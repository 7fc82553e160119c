#include "station/store/history_rows.h"

namespace orvix::station {

std::size_t HistoryBatch::Rows() const {
    auto rows = Readings.size() + Gaps.size() + Ends.size() + Names.size() + SerialNumbers.size() + Alarms.size() +
                Events.size();
    for (const auto& [series, complete] : Minutes)
        rows += complete.Minutes.size();
    return rows;
}

/// What it is about stays as it was told first.
void HistoryBatch::Add(const AlarmState& alarm) {
    auto& kept = Alarms.try_emplace(alarm.Alarm, alarm).first->second;
    kept.Ended = alarm.Ended;
    kept.Acknowledged = alarm.Acknowledged;
}

void HistoryBatch::Append(HistoryBatch later) {
    const auto add = [](auto& to, const auto& from) { to.insert(to.end(), from.begin(), from.end()); };
    add(Series, later.Series);
    add(Readings, later.Readings);
    add(Events, later.Events);
    for (auto& [key, gap] : later.Gaps)
        Gaps.insert_or_assign(key, std::move(gap));
    for (auto& [series, complete] : later.Minutes) {
        add(Minutes[series].Minutes, complete.Minutes);
        Minutes[series].Until = complete.Until;
    }
    Ends.insert(later.Ends.begin(), later.Ends.end());
    Names.insert(later.Names.begin(), later.Names.end());
    for (auto& [identifier, serialNumber] : later.SerialNumbers)
        SerialNumbers.insert_or_assign(identifier, std::move(serialNumber));
    for (const auto& [id, alarm] : later.Alarms)
        Add(alarm);
    Brokers = std::move(later.Brokers);
    Resend = later.Resend;
    for (const auto& [who, n] : later.Acknowledgements)
        Acknowledgements.insert_or_assign(who, n);
}

}  // namespace orvix::station
