#include "station/run/alarm_book.h"

#include <algorithm>

#include "devices/protocol/device_models.h"

namespace orvix::station {
namespace {

Duration DurationOf(double seconds) {
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

double SecondsOf(Duration time) {
    return std::chrono::duration<double>(time).count();
}

}  // namespace

bool AlarmBook::IsWatched(const Watched& watched, const Key& key) {
    const auto& limits = watched.Limits;
    const auto [kind, input] = key;
    switch (kind) {
        case AlarmKind::Low:
            return limits.Low.has_value();
        case AlarmKind::High:
            return limits.High.has_value();
        case AlarmKind::Input:
            return ((limits.InputsOn | limits.InputsOff) & (1U << input)) != 0;
        case AlarmKind::Silent:
            return limits.Silent.count() > 0;
        case AlarmKind::Doubtful:
            return limits.Doubtful.count() > 0;
        default:
            return watched.PortGone.count() > 0;
    }
}

void AlarmBook::Watch(const std::string& port, const DeviceSetup& device, Duration now) {
    const auto [entry, isNew] = m_Watched.try_emplace(IdOf(port, device.Address));
    auto& watched = entry->second;
    watched.Port = port;
    watched.Address = device.Address;
    if (!device.Name.empty()) watched.Name = device.Name;
    if (const auto* model = FindDeviceModel(device.Model); watched.Name.empty() && model != nullptr)
        watched.Name = model->DeviceDescription;
    watched.Limits = device.Limits;
    if (isNew) watched.GoodAt = now;
}

void AlarmBook::WatchPort(const std::string& port, std::chrono::milliseconds gone) {
    auto& watched = m_Watched[IdOf(port, 0)];
    watched.Port = watched.Name = port;
    watched.PortGone = gone;
}

std::vector<AlarmEvent> AlarmBook::Take(const Reading& reading, Duration now) {
    std::vector<AlarmEvent> events;
    const auto found = m_Watched.find(reading.Id());
    if (found == m_Watched.end() || !reading.Valid()) return events;
    auto& watched = found->second;
    watched.Name = reading.Name;
    const bool isGood = reading.IsGood();
    if (isGood) JudgeValue(watched, reading, now, events);
    if (isGood) {
        watched.GoodAt = now;
        watched.DoubtSince.reset();
    } else if (!watched.DoubtSince) {
        watched.DoubtSince = now;
    }
    JudgeTimes(watched, reading.UnixMilliseconds, now, events);
    return events;
}

std::vector<AlarmEvent> AlarmBook::Port(const std::string& port, bool works, std::int64_t unixMilliseconds,
                                        Duration now) {
    std::vector<AlarmEvent> events;
    const auto found = m_Watched.find(IdOf(port, 0));
    if (found == m_Watched.end() || works != found->second.FailedSince.has_value()) return events;
    if (works) found->second.FailedSince.reset();
    if (!works) found->second.FailedSince = now;
    JudgeTimes(found->second, unixMilliseconds, now, events);
    return events;
}

std::vector<AlarmEvent> AlarmBook::Passing(std::int64_t unixMilliseconds, Duration now) {
    std::vector<AlarmEvent> events;
    for (auto& [id, watched] : m_Watched)
        JudgeTimes(watched, unixMilliseconds, now, events);
    return events;
}

bool AlarmBook::IsActive(const Watched& watched, AlarmKind kind) {
    const auto alarm = watched.Alarms.find({kind, 0});
    return alarm != watched.Alarms.end() && alarm->second.Active;
}

std::vector<AlarmBook::Comparison> AlarmBook::CompareValue(const Watched& watched, const ReadingValue& value) {
    std::vector<Comparison> all;
    const auto& limits = watched.Limits;
    const auto margin = [&](AlarmKind kind) { return IsActive(watched, kind) ? limits.Hysteresis : 0; };
    if (const auto* degrees = std::get_if<double>(&value)) {
        const bool isLow = limits.Low && *degrees < *limits.Low + margin(AlarmKind::Low);
        const bool isHigh = limits.High && *degrees > *limits.High - margin(AlarmKind::High);
        if (limits.Low) all.push_back({AlarmKind::Low, 0, *degrees, *limits.Low, isLow});
        if (limits.High) all.push_back({AlarmKind::High, 0, *degrees, *limits.High, isHigh});
    }
    if (const auto* inputs = std::get_if<std::int32_t>(&value)) {
        for (int input = 0; input < 8; ++input) {
            if (!IsWatched(watched, {AlarmKind::Input, input})) continue;
            const unsigned bit = 1U << input;
            const bool isOn = (static_cast<unsigned>(*inputs) & bit) != 0;
            const bool isWatchedOn = (limits.InputsOn & bit) != 0;
            all.push_back({AlarmKind::Input, input, isOn ? 1.0 : 0.0, isWatchedOn ? 1.0 : 0.0, isOn == isWatchedOn});
        }
    }
    return all;
}

std::vector<AlarmBook::Comparison> AlarmBook::CompareTimes(const Watched& watched, Duration now) {
    const auto comparison = [now](AlarmKind kind, std::optional<Duration> since, std::chrono::milliseconds limit) {
        const auto lasted = since ? now - *since : Duration::zero();
        return Comparison{kind, 0, SecondsOf(lasted), SecondsOf(limit), since && lasted >= limit};
    };
    std::vector<Comparison> all;
    const auto& limits = watched.Limits;
    if (limits.Silent.count() > 0) all.push_back(comparison(AlarmKind::Silent, watched.GoodAt, limits.Silent));
    if (limits.Doubtful.count() > 0) {
        all.push_back(comparison(AlarmKind::Doubtful, watched.DoubtSince, limits.Doubtful));
    }
    if (watched.PortGone.count() > 0) all.push_back(comparison(AlarmKind::Port, watched.FailedSince, watched.PortGone));
    return all;
}

AlarmEvent AlarmBook::EventOf(const Watched& watched, const Comparison& comparison, std::int64_t unixMilliseconds) {
    return {.UnixMilliseconds = unixMilliseconds,
            .Port = watched.Port,
            .Address = watched.Address,
            .Name = watched.Name,
            .Kind = comparison.Kind,
            .Input = comparison.Input,
            .Starts = comparison.IsOutside,
            .Value = comparison.Value,
            .Limit = comparison.Limit};
}

void AlarmBook::Change(Watched& watched, const Comparison& comparison, std::int64_t unixMilliseconds,
                       std::vector<AlarmEvent>& events) {
    auto& alarm = watched.Alarms[{comparison.Kind, comparison.Input}];
    alarm.OppositeReadings = 0;
    alarm.Active = comparison.IsOutside;
    events.push_back(EventOf(watched, comparison, unixMilliseconds));
    if (alarm.Active) alarm.Start = events.back();
}

void AlarmBook::JudgeValue(Watched& watched, const Reading& reading, Duration now, std::vector<AlarmEvent>& events) {
    const auto& limits = watched.Limits;
    for (const auto& comparison : CompareValue(watched, reading.Value)) {
        auto& alarm = watched.Alarms[{comparison.Kind, comparison.Input}];
        if (comparison.IsOutside == alarm.Active) {
            alarm.OppositeReadings = 0;
            continue;
        }
        if (alarm.OppositeReadings++ == 0) alarm.Since = now;
        const bool isLongEnough = now - alarm.Since >= limits.HoldOffTime;
        if (alarm.OppositeReadings < limits.HoldOff || !isLongEnough) continue;
        Change(watched, comparison, reading.UnixMilliseconds, events);
    }
}

void AlarmBook::JudgeTimes(Watched& watched, std::int64_t unixMilliseconds, Duration now,
                           std::vector<AlarmEvent>& events) {
    Withdraw(
        watched, unixMilliseconds, [](const Watched& of, const Key& key) { return !IsWatched(of, key); }, events);
    for (auto comparison : CompareTimes(watched, now)) {
        auto& alarm = watched.Alarms[{comparison.Kind, 0}];
        if (comparison.IsOutside == alarm.Active) continue;
        // It is told how long all of it has lasted.
        if (alarm.Active) comparison.Value = SecondsOf(now - alarm.Since);
        if (!alarm.Active) alarm.Since = now - DurationOf(comparison.Value);
        Change(watched, comparison, unixMilliseconds, events);
    }
}

void AlarmBook::Withdraw(Watched& watched, std::int64_t unixMilliseconds, bool (*isOver)(const Watched&, const Key&),
                         std::vector<AlarmEvent>& events) {
    std::erase_if(watched.Alarms, [&](const auto& item) {
        const auto& [key, alarm] = item;
        if (!isOver(watched, key)) return false;
        if (alarm.Active) {
            auto event = alarm.Start;
            event.UnixMilliseconds = unixMilliseconds;
            event.Starts = false;
            event.Withdrawn = true;
            events.push_back(event);
        }
        return true;
    });
}

std::vector<AlarmEvent> AlarmBook::Forget(const DeviceId& device, std::int64_t unixMilliseconds) {
    std::vector<AlarmEvent> events;
    auto watched = m_Watched.extract(device);
    if (watched)
        Withdraw(
            watched.mapped(), unixMilliseconds, [](const Watched&, const Key&) { return true; }, events);
    return events;
}

std::vector<AlarmEvent> AlarmBook::Active() const {
    std::vector<AlarmEvent> events;
    for (const auto& [device, watched] : m_Watched) {
        for (const auto& [key, alarm] : watched.Alarms) {
            if (alarm.Active) events.push_back(alarm.Start);
        }
    }
    return events;
}

}  // namespace orvix::station
