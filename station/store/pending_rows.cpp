#include "station/store/pending_rows.h"

#include <algorithm>

namespace orvix::station {
namespace {

std::optional<double> NumberOfReading(const ReadingValue& value) {
    if (const auto* degrees = std::get_if<double>(&value)) return *degrees;
    if (const auto* inputs = std::get_if<std::int32_t>(&value)) return *inputs;
    return std::nullopt;
}

// A device that is heard again before has nothing to do with its port's trouble.
constexpr std::int64_t kShortestTrouble = 5000;

Failure NotKept() {
    return {errors::General, "The reading could not be recorded", {}};
}

std::string StepText(std::int64_t milliseconds) {
    const auto seconds = std::to_string(std::abs(milliseconds) / 1000) + " s";
    return milliseconds < 0 ? "the clock was set back by " + seconds : "the clock was set forward by " + seconds;
}

}  // namespace

void PendingRows::Watch(const SeriesKey& key, const std::string& identifier, const std::string& serialNumber,
                        const ClockTimes& now) {
    const std::lock_guard lock(m_Mutex);
    TakeTime(now);
    WatchedOf(key, identifier, now.Unix);
    if (!serialNumber.empty()) m_Rows.SerialNumbers[identifier] = serialNumber;
}

void PendingRows::Unwatch(const DeviceId& device, const ClockTimes& now) {
    const std::lock_guard lock(m_Mutex);
    TakeTime(now);
    for (auto entry = m_Watched.begin(); entry != m_Watched.end();) {
        const bool isMeant = entry->first.first == device;
        if (isMeant) Finish(entry->second, now.Unix, SeriesEnd::Removed);
        entry = isMeant ? m_Watched.erase(entry) : std::next(entry);
    }
}

void PendingRows::Add(const Reading& reading, const ClockTimes& now) {
    const auto value = NumberOfReading(reading.Value);
    if (reading.Valid() && !value) return;  // a text
    const std::lock_guard lock(m_Mutex);
    TakeTime(now);
    const auto time = reading.UnixMilliseconds;
    auto& watched = WatchedOf({reading.Port, reading.Address, reading.Model, reading.Name, reading.Variable},
                              reading.Identifier, time);
    watched.Trouble.reset();
    const bool isGood = value && reading.Why == Doubt::None;
    if (isGood) watched.Minutes.AddGood(time, *value);
    if (value && !isGood) watched.Minutes.AddDoubtful(time);
    if (!value) watched.Minutes.AddFailed(time);
    KeepMinutes(watched);
    if (isGood && !watched.Filter.Passes(m_Changes, time, *value)) return;
    if (!isGood) watched.Filter.Interrupt();
    if (!value) {
        Extend(watched, reading, reading.Error);
    } else if (IsFull()) {
        ++m_Lost;
        Extend(watched, reading, NotKept());
    } else {
        CloseGap(watched, time);
        m_Rows.Readings.push_back({watched.Series, time, *value, reading.Seq, reading.Why});
    }
}

void PendingRows::Trouble(const std::string& port, const Failure& failure, const ClockTimes& now) {
    const std::lock_guard lock(m_Mutex);
    TakeTime(now);
    for (auto& [place, watched] : m_Watched) {
        if (watched.Key.Port != port) continue;
        watched.Trouble = failure;
        watched.TroubleSince = now.Unix;
        watched.GapTold = 0;
    }
}

/// A gap in which no reading was tried, with the latest time at which that was so.
void PendingRows::ExtendTroubles() {
    for (auto& [place, watched] : m_Watched) {
        if (!watched.Trouble || m_Now - watched.TroubleSince < kShortestTrouble) continue;
        CloseGap(watched, watched.TroubleSince);
        if (!IsGapDue(watched)) continue;
        const auto& [code, text, detail] = *watched.Trouble;
        auto& gap = m_Rows.Gaps[{watched.Series, watched.TroubleSince}];
        gap = {.To = m_Now, .Count = 0, .Code = code, .Text = text};
        watched.Minutes.AddFailed(m_Now);
    }
}

/// A series holds times that only grow: it is begun anew where the clock says otherwise.
PendingRows::Watched& PendingRows::WatchedOf(const SeriesKey& key, const std::string& identifier, std::int64_t time) {
    const auto found = m_Watched.find({key.Device(), key.Variable});
    if (found == m_Watched.end()) return Begin(key, identifier, time);
    auto& watched = found->second;
    if (watched.Key.Name.empty() && !key.Name.empty()) {
        watched.Key.Name = key.Name;
        m_Rows.Names[watched.Series] = key.Name;
    }
    auto named = key;
    if (named.Name.empty()) named.Name = watched.Key.Name;
    const bool isSame = watched.Key == named && watched.Identifier == identifier;
    if (isSame && !watched.Minutes.IsBehind(time)) {
        // Readings wait until it is known which device they are of.
        const auto taken = m_Series - m_Rows.Series.size();
        if (watched.Series >= taken) {
            auto& begin = m_Rows.Series[watched.Series - taken].From;
            begin = std::min(begin, time);
        }
        return watched;
    }
    Finish(watched, isSame ? m_Now : time, isSame ? SeriesEnd::ClockSet : SeriesEnd::Changed);
    m_Watched.erase(found);
    return Begin(named, identifier, time);
}

PendingRows::Watched& PendingRows::Begin(const SeriesKey& key, const std::string& identifier, std::int64_t time) {
    auto& watched = m_Watched.emplace(Place{key.Device(), key.Variable}, Watched(key, identifier)).first->second;
    watched.Series = m_Series++;
    m_Rows.Series.push_back({key, identifier, time, m_Changes.OnlyChanges});
    return watched;
}

void PendingRows::Finish(Watched& watched, std::int64_t time, SeriesEnd end) {
    watched.Minutes.End(time);
    KeepMinutes(watched);
    CloseGap(watched, time);
    m_Rows.Ends[watched.Series] = {time, end};
}

void PendingRows::TakeTime(const ClockTimes& now) {
    const auto interruption = m_Clock.Take(now);
    m_Now = now.Unix;
    if (!interruption) return;
    const bool wasSet = interruption->What == Interruption::Kind::ClockSet;
    if (wasSet) m_Rows.Events.push_back({interruption->To, "clock", StepText(interruption->Step)});
    m_ClockWasSet = m_ClockWasSet || wasSet;
    for (auto& [place, watched] : std::exchange(m_Watched, {})) {
        Finish(watched, interruption->From, wasSet ? SeriesEnd::ClockSet : SeriesEnd::Slept);
        Begin(watched.Key, watched.Identifier, interruption->To);
    }
}

void PendingRows::KeepMinutes(Watched& watched) {
    auto complete = watched.Minutes.TakeComplete();
    if (complete.empty()) return;
    auto& kept = m_Rows.Minutes[watched.Series];
    kept.Minutes.insert(kept.Minutes.end(), complete.begin(), complete.end());
    kept.Until = watched.Minutes.CompleteUntil();
}

/// A gap goes on while its reason stays the same. When there is no room for another row it goes on in any case.
void PendingRows::Extend(Watched& watched, const Reading& reading, const Failure& failure) {
    const auto time = reading.UnixMilliseconds;
    auto& open = watched.OpenGap;
    if (!open || (open->second.Code != failure.Code && !IsFull())) {
        CloseGap(watched, time);
        watched.GapTold = 0;
        open = {time, Gap{time, 0, failure.Code, failure.Text, reading.Seq, reading.Seq}};
    }
    auto& [from, gap] = *open;
    gap.To = time;
    ++gap.Count;
    gap.LastSeq = reading.Seq;
    if (IsGapDue(watched)) m_Rows.Gaps[{watched.Series, from}] = gap;
}

/// Nothing was known until something else was.
void PendingRows::CloseGap(Watched& watched, std::int64_t until) {
    if (!watched.OpenGap) return;
    auto& [from, gap] = *watched.OpenGap;
    gap.To = std::max(gap.To, until);
    m_Rows.Gaps[{watched.Series, from}] = gap;
    watched.OpenGap.reset();
}

/// Where only changes are recorded, a gap that lasts is none.
bool PendingRows::IsGapDue(Watched& watched) {
    constexpr std::int64_t kSeldom = 60'000;
    if (m_Changes.OnlyChanges && std::abs(m_Now - watched.GapTold) < kSeldom) return false;
    watched.GapTold = m_Now;
    return true;
}

void PendingRows::Add(const AlarmEvent& alarm) {
    const std::lock_guard lock(m_Mutex);
    m_Rows.Add(alarm.State());
}

void PendingRows::Add(const HistoryEvent& event) {
    const std::lock_guard lock(m_Mutex);
    m_Rows.Events.push_back(event);
}

void PendingRows::SendTo(const std::vector<std::string>& brokers, std::chrono::hours resend) {
    const std::lock_guard lock(m_Mutex);
    m_Rows.Brokers = brokers;
    m_Rows.Resend = resend;
}

void PendingRows::Acknowledge(const BrokerOfHistory& who, std::int64_t n) {
    const std::lock_guard lock(m_Mutex);
    m_Rows.Acknowledgements[who] = n;
}

void PendingRows::End() {
    const std::lock_guard lock(m_Mutex);
    for (auto& [place, watched] : m_Watched) {
        watched.Minutes.End(m_Now);
        KeepMinutes(watched);
        CloseGap(watched, m_Now);
    }
}

void PendingRows::TakeInto(HistoryBatch& batch, const ClockTimes& now) {
    const std::lock_guard lock(m_Mutex);
    TakeTime(now);
    ExtendTroubles();
    batch.Append(std::exchange(m_Rows, {}));
    m_Rows.Brokers = batch.Brokers;
    m_Rows.Resend = batch.Resend;
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
