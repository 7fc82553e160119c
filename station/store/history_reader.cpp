#include "station/store/history_reader.h"

#include <algorithm>
#include <set>

#include "host/error.h"
#include "host/text.h"
#include "station/store/history_schema.h"

namespace orvix::station {
namespace {

using platform::SqliteStatement;

constexpr std::int64_t kPageRows = 512;

bool IsOf(const StoredDevice& device, const HistoryQuery& query) {
    const auto& key = device.Key;
    if (!query.Port.empty() && key.Port != query.Port) return false;
    return query.Device.empty() || std::to_string(key.Address) == query.Device || device.Id == query.Device ||
           EqualsIgnoringCase(key.Name, query.Device);
}

[[noreturn]] void FailToFind(const HistoryQuery& query, const std::vector<StoredDevice>& all) {
    std::string known;
    for (const auto& device : all) {
        const auto& key = device.Key;
        known += (known.empty() ? "" : ", ") + std::to_string(key.Address) + " " + key.Name + " on " + key.Port;
    }
    const std::string device = query.Device.empty() ? "" : " of device " + query.Device;
    const std::string port = query.Port.empty() ? "" : " on " + query.Port;
    throw Error(errors::General, "the history has nothing" + device + port + "; it has " +
                                     (known.empty() ? "no reading at all" : known));
}

std::int64_t Overlap(const HistoryRow& row, const Period& period) {
    return std::max<std::int64_t>(0, std::min(row.Until, period.Until) - std::max(row.Time, period.Since));
}

const char* WhyNotRead(std::optional<SeriesEnd> end, bool stationRan) {
    if (end == SeriesEnd::Slept) return "The machine was asleep";
    if (end == SeriesEnd::ClockSet) return "The clock was set";
    return stationRan ? "The device was not among those being read" : "The station was not running";
}

}  // namespace

HistoryReader::HistoryReader(const std::string& file, std::int64_t now)
    : m_Connection(OpenHistoryReadOnly(file)), m_Now(now) {
    LoadSessions();
}

void HistoryReader::LoadSessions() {
    enum Column { kId, kStart, kAlive, kBeat, kEnded };
    SqliteStatement row(m_Connection, "SELECT id, start_ms, alive_ms, beat_ms, ended FROM sessions");
    while (row.Step()) {
        const auto alive = row.LongNumber(kAlive);
        const bool runs = row.Number(kEnded) == 0 && m_Now <= alive + kMissedBeats * row.LongNumber(kBeat);
        m_Sessions[row.LongNumber(kId)] = {row.LongNumber(kStart), runs ? std::max(m_Now, alive) : alive};
    }
}

/// In the order of the question for all series.
namespace series_column {
enum Column {
    kDevice,
    kId,
    kModel,
    kVariable,
    kRow,
    kSession,
    kFrom,
    kTo,
    kEnded,
    kRolledUntil,
    kSparse,
    kPort,
    kAddress,
    kName
};
}  // namespace series_column

StoredSeries HistoryReader::SeriesOf(SqliteStatement& row) {
    using namespace series_column;
    StoredSeries series;
    series.Row = row.LongNumber(kRow);
    series.From = row.LongNumber(kFrom);
    series.RolledUntil = row.LongNumber(kRolledUntil);
    series.IsSparse = row.Number(kSparse) != 0;
    if (!row.IsNull(kSession)) series.Session = row.LongNumber(kSession);
    if (!row.IsNull(kEnded)) series.Ended = static_cast<SeriesEnd>(row.Number(kEnded));
    series.To = row.IsNull(kTo) ? m_Sessions[series.Session.value_or(0)].End : row.LongNumber(kTo);
    return series;
}

std::vector<StoredDevice> HistoryReader::AllDevices() {
    using namespace series_column;
    std::vector<StoredDevice> all;
    SqliteStatement row(m_Connection,
                        "SELECT device, devices.id, model, variable, series.id, session, from_ms, to_ms, ended, "
                        "coalesce(rolled_ms, 9223372036854775807), sparse, port, address, name FROM series "
                        "JOIN devices ON number = device ORDER BY device, variable, from_ms, series.id");
    std::int64_t latest = 0;
    while (row.Step()) {
        const auto variable = row.Text(kVariable);
        if (all.empty() || all.back().Number != row.LongNumber(kDevice) || all.back().Key.Variable != variable) {
            all.push_back({.Number = row.LongNumber(kDevice), .Id = row.Text(kId), .Key = {}, .Series = {}});
            latest = 0;
        }
        auto& device = all.back();
        device.Series.push_back(SeriesOf(row));
        const auto id = device.Series.back().Row;
        if (id < latest) continue;
        latest = id;
        device.Key = {row.Text(kPort), row.Number(kAddress), row.Number(kModel), row.Text(kName), variable};
    }
    std::stable_sort(all.begin(), all.end(), [](const StoredDevice& a, const StoredDevice& b) {
        return std::tie(a.Key.Port, a.Key.Address, a.Number) < std::tie(b.Key.Port, b.Key.Address, b.Number);
    });
    return all;
}

std::vector<StoredDevice> HistoryReader::Find(const HistoryQuery& query) {
    const auto all = AllDevices();
    std::vector<StoredDevice> found;
    std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                 [&](const StoredDevice& device) { return IsOf(device, query); });
    if (found.empty()) FailToFind(query, all);
    return found;
}

bool HistoryReader::AnySessionWithin(std::int64_t from, std::int64_t to) const {
    // A run takes a while to begin reading.
    constexpr std::int64_t kSlack = 60'000;
    return std::any_of(m_Sessions.begin(), m_Sessions.end(), [&](const auto& entry) {
        return entry.second.Start + kSlack < to && entry.second.End > from + kSlack;
    });
}

/// After a device was taken off the list, or when later runs have not read it, there is no gap that grows.
std::vector<HistoryRow> HistoryReader::TimesNotRead(const StoredDevice& device, const Period& period) const {
    std::vector<HistoryRow> rows;
    const StoredSeries* before = nullptr;  // reaches farthest of those that were told by a run
    const auto add = [&](std::int64_t until) {
        HistoryRow row{.Device = &device, .Time = before->To, .Value = {}, .Until = until, .Reason = {}};
        row.Reason.Text = WhyNotRead(before->Ended, AnySessionWithin(before->To, until));
        if (Overlap(row, period) > 0) rows.push_back(row);
    };
    for (const auto& series : device.Series) {
        if (!series.Session) continue;
        if (before != nullptr && series.From > before->To && before->Ended != SeriesEnd::Changed) add(series.From);
        if (before == nullptr || series.To >= before->To) before = &series;
    }
    constexpr std::int64_t kShortest = 3000;  // not worth a word while the station may be about to begin again
    const auto end = std::min(period.Until, m_Now);
    if (before != nullptr && !before->Ended && end > before->To + kShortest && !AnySessionWithin(before->To, end))
        add(end);
    return rows;
}

void HistoryReader::Read(const std::vector<StoredDevice>& devices, const Period& period,
                         const std::function<bool(const HistoryRow&)>& take, SeriesCursor::Rows rows) {
    auto merge = Rows(devices, period, rows);
    for (const auto* row = merge.Next(); row != nullptr; row = merge.Next()) {
        if (!take(*row)) return;
    }
}

RowMerge HistoryReader::Rows(std::span<const StoredDevice> devices, const Period& period, SeriesCursor::Rows rows) {
    RowMerge merge(m_Connection, period, rows);
    for (const auto& device : devices)
        merge.Add(device, TimesNotRead(device, period));
    return merge;
}

HistorySummary HistoryReader::Summarize(const StoredDevice& device, const Period& period) {
    HistorySummary summary;
    summary.Device = device;
    summary.Figures = FiguresOf(device).Of(period);
    SqliteStatement gaps(m_Connection,
                         "SELECT count(*), total(count), total(min(to_ms, ?3) - max(from_ms, ?2)) FROM gaps "
                         "WHERE series = ?1 AND from_ms < ?3 AND to_ms >= ?2");
    for (const auto& series : device.Series) {
        gaps.Bind(1, series.Row).Bind(2, period.Since).Bind(3, period.Until).Step();
        summary.Gaps += gaps.LongNumber(0);
        summary.Failed += gaps.LongNumber(1);
        summary.GapTime += std::chrono::milliseconds(gaps.LongNumber(2));
        gaps.Reset();
    }
    for (const auto& row : TimesNotRead(device, period))
        summary.NotRunning += std::chrono::milliseconds(Overlap(row, period));
    return summary;
}

void HistoryReader::ReadAlarms(const HistoryQuery& query, const std::function<bool(const AlarmRow&)>& take) {
    std::set<std::string> devices;
    const bool isAny = query.Device.empty();
    for (const auto& device : isAny ? std::vector<StoredDevice>() : Find(query))
        devices.insert(device.Id);
    AlarmQuestion question{.Port = query.Port, .Time = query.Time, .NewestFirst = false, .Limit = kPageRows};
    for (AlarmPage page;; question.Offset += question.Limit) {
        page = Alarms(question);
        for (const auto& alarm : page.Alarms) {
            if (!isAny && !devices.contains(alarm.State.Identifier)) continue;
            if (!take(alarm)) return;
        }
        if (question.Offset + question.Limit >= page.Total) return;
    }
}

}  // namespace orvix::station
