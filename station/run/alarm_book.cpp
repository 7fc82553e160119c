#include "station/run/alarm_book.h"

#include <algorithm>

#include "devices/protocol/device_models.h"

namespace orvix::station {
namespace {

Duration DurationOf(double seconds) {
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

double SecondsOf(Duration time) {
    return std::chrono::duration<double>(std::chrono::floor<std::chrono::milliseconds>(time)).count();
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
            .What = comparison.IsOutside ? AlarmChange::Started : AlarmChange::Ended,
            .Value = comparison.Value,
            .Limit = comparison.Limit};
}

void AlarmBook::Change(Watched& watched, const Comparison& comparison, std::int64_t unixMilliseconds,
                       std::vector<AlarmEvent>& events) {
    auto& alarm = watched.Alarms[{comparison.Kind, comparison.Input}];
    alarm.OppositeReadings = 0;
    alarm.Active = comparison.IsOutside;
    alarm.IsLeft = false;
    auto event = EventOf(watched, comparison, unixMilliseconds);
    if (alarm.Active) {
        event.Started = unixMilliseconds;
        alarm.Start = event;
    } else {
        event.Alarm = alarm.Start.Alarm;
        event.Identifier = alarm.Start.Identifier;
        event.Started = alarm.Start.Started;
        event.Acknowledged = alarm.Start.Acknowledged;
    }
    events.push_back(event);
}

void AlarmBook::GoOn(Alarm& alarm, std::int64_t unixMilliseconds, std::vector<AlarmEvent>& events) {
    if (!std::exchange(alarm.IsLeft, false)) return;
    events.push_back(alarm.Start);
    events.back().What = AlarmChange::Continued;
    events.back().UnixMilliseconds = unixMilliseconds;
}

void AlarmBook::JudgeValue(Watched& watched, const Reading& reading, Duration now, std::vector<AlarmEvent>& events) {
    const auto& limits = watched.Limits;
    for (const auto& comparison : CompareValue(watched, reading.Value)) {
        auto& alarm = watched.Alarms[{comparison.Kind, comparison.Input}];
        if (comparison.IsOutside == alarm.Active) {
            alarm.OppositeReadings = 0;
            GoOn(alarm, reading.UnixMilliseconds, events);
            continue;
        }
        if (alarm.OppositeReadings++ == 0) alarm.Since = now;
        const bool isLongEnough = now - alarm.Since >= limits.HoldOffTime;
        if (!alarm.IsLeft && (alarm.OppositeReadings < limits.HoldOff || !isLongEnough)) continue;
        Change(watched, comparison, reading.UnixMilliseconds, events);
    }
}

void AlarmBook::JudgeTimes(Watched& watched, std::int64_t unixMilliseconds, Duration now,
                           std::vector<AlarmEvent>& events) {
    Withdraw(
        watched, unixMilliseconds, [](const Watched& of, const Key& key) { return !IsWatched(of, key); }, events);
    for (auto comparison : CompareTimes(watched, now)) {
        auto& alarm = watched.Alarms[{comparison.Kind, 0}];
        if (comparison.IsOutside == alarm.Active) {
            GoOn(alarm, unixMilliseconds, events);
            continue;
        }
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
            event.What = AlarmChange::Ended;
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
    std::erase_if(m_Heard, [&](const auto& heard) {
        if (heard.first.first != device) return false;
        events.push_back(heard.second);
        events.back().UnixMilliseconds = unixMilliseconds;
        events.back().What = AlarmChange::Ended;
        events.back().Withdrawn = true;
        return true;
    });
    return events;
}

bool AlarmBook::Hear(AlarmEvent& told) {
    const std::pair place{told.Id(), Key{told.Kind, told.Input}};
    if (!told.IsOn()) return m_Heard.erase(place) > 0;
    const auto [known, isNew] = m_Heard.try_emplace(place, told);
    auto& before = known->second;
    if (isNew || before.Alarm != told.Alarm) {
        before = told;
        return true;
    }
    if (before.Acknowledged || !told.Acknowledged) return false;
    before.Acknowledged = told.Acknowledged;
    told.What = AlarmChange::Acknowledged;
    return true;
}

void AlarmBook::Identify(const DeviceId& place, const std::string& identifier, std::int64_t unixMilliseconds,
                         Duration now) {
    const auto found = m_Watched.find(place);
    if (found == m_Watched.end()) return;
    std::erase_if(m_Left, [&](AlarmState& left) {
        const bool isPort = left.Identifier.empty() && place.Address == 0 && left.Port == place.Port;
        const bool isDevice = !identifier.empty() && left.Identifier == identifier;
        if (isPort || isDevice) Resume(found->second, left, unixMilliseconds, now);
        return isPort || isDevice;
    });
}

/// What has lasted for a time goes on doing so.
void AlarmBook::Resume(Watched& watched, const AlarmState& left, std::int64_t unixMilliseconds, Duration now) {
    const auto kind = AlarmKindOf(left.Kind);
    if (!kind || watched.Alarms[*kind].Active) return;
    auto& alarm = watched.Alarms[*kind];
    alarm.Active = alarm.IsLeft = true;
    alarm.Start = {.UnixMilliseconds = left.Started,
                   .Port = watched.Port,
                   .Address = watched.Address,
                   .Name = watched.Name,
                   .Identifier = left.Identifier,
                   .Kind = kind->first,
                   .Input = kind->second,
                   .Value = left.Value,
                   .Limit = LimitOf(watched, *kind),
                   .Alarm = left.Alarm,
                   .Started = left.Started,
                   .Acknowledged = left.Acknowledged};
    if (!alarm.Start.IsOfTime()) return;
    alarm.Since = now - DurationOf(left.Value) - std::chrono::milliseconds(unixMilliseconds - left.Started);
    if (kind->first == AlarmKind::Silent) watched.GoodAt = alarm.Since;
    if (kind->first == AlarmKind::Doubtful) watched.DoubtSince = alarm.Since;
    if (kind->first == AlarmKind::Port) watched.FailedSince = alarm.Since;
}

double AlarmBook::LimitOf(const Watched& watched, const Key& key) {
    const auto& limits = watched.Limits;
    switch (std::get<AlarmKind>(key)) {
        case AlarmKind::Low:
            return limits.Low.value_or(0);
        case AlarmKind::High:
            return limits.High.value_or(0);
        case AlarmKind::Input:
            return ((limits.InputsOn >> std::get<int>(key)) & 1U) != 0 ? 1 : 0;
        case AlarmKind::Silent:
            return SecondsOf(limits.Silent);
        case AlarmKind::Doubtful:
            return SecondsOf(limits.Doubtful);
        default:
            return SecondsOf(watched.PortGone);
    }
}

void AlarmBook::Name(const AlarmEvent& started) {
    const auto found = m_Watched.find(started.Id());
    if (found != m_Watched.end()) found->second.Alarms[{started.Kind, started.Input}].Start = started;
}

std::optional<AlarmEvent> AlarmBook::Acknowledge(const std::string& id, const Acknowledgement& acknowledgement) {
    for (auto& [device, watched] : m_Watched) {
        for (auto& [key, alarm] : watched.Alarms) {
            if (!alarm.Active || alarm.Start.Alarm != id) continue;
            alarm.Start.Acknowledged = acknowledgement;
            auto event = alarm.Start;
            event.What = AlarmChange::Acknowledged;
            event.UnixMilliseconds = acknowledgement.UnixMilliseconds;
            return event;
        }
    }
    return std::nullopt;
}

std::vector<AlarmEvent> AlarmBook::Active() const {
    std::vector<AlarmEvent> events;
    for (const auto& [device, watched] : m_Watched) {
        for (const auto& [key, alarm] : watched.Alarms) {
            if (alarm.Active) events.push_back(alarm.Start);
        }
    }
    for (const auto& [place, heard] : m_Heard)
        events.push_back(heard);
    return events;
}

}  // namespace orvix::station
