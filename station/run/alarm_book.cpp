#include "station/run/alarm_book.h"

#include <algorithm>
#include <cmath>

#include "host/text.h"

namespace orvix::station {
namespace {

/// A limit of a device next to one of its readings.
struct Comparison {
    AlarmKind Kind;
    int Input;
    double Value;
    double Limit;
    bool IsOutside;
};

std::vector<Comparison> Compare(const AlarmLimits& limits, const ReadingValue& value) {
    std::vector<Comparison> all;
    if (const auto* degrees = std::get_if<double>(&value)) {
        if (limits.Low) all.push_back({AlarmKind::Low, 0, *degrees, *limits.Low, *degrees < *limits.Low});
        if (limits.High) all.push_back({AlarmKind::High, 0, *degrees, *limits.High, *degrees > *limits.High});
    }
    if (const auto* inputs = std::get_if<std::int32_t>(&value)) {
        for (int input = 0; input < 8; ++input) {
            const unsigned bit = 1U << input;
            const bool isOn = (static_cast<unsigned>(*inputs) & bit) != 0;
            const bool isWatchedOn = (limits.InputsOn & bit) != 0;
            if (!isWatchedOn && (limits.InputsOff & bit) == 0) continue;
            all.push_back({AlarmKind::Input, input, isOn ? 1.0 : 0.0, isWatchedOn ? 1.0 : 0.0, isOn == isWatchedOn});
        }
    }
    return all;
}

}  // namespace

void AlarmBook::Limits(const DeviceId& device, const AlarmLimits& limits) {
    m_Devices[device].Limits = limits;
}

std::vector<AlarmEvent> AlarmBook::Take(const Reading& reading) {
    std::vector<AlarmEvent> events;
    const auto found = m_Devices.find(reading.Id());
    if (found == m_Devices.end() || !reading.IsGood()) return events;
    auto& [limits, alarms] = found->second;

    auto ended = std::exchange(alarms, {});
    for (const auto& comparison : Compare(limits, reading.Value)) {
        const Key key{comparison.Kind, comparison.Input};
        auto& watch = alarms[key];
        if (const auto known = ended.extract(key)) watch = known.mapped();
        watch.OppositeReadings = comparison.IsOutside == watch.Active ? 0 : watch.OppositeReadings + 1;
        if (watch.OppositeReadings < limits.HoldOff) continue;
        watch.OppositeReadings = 0;
        watch.Active = comparison.IsOutside;
        events.push_back({reading.UnixMilliseconds, reading.Port, reading.Address, reading.Name, comparison.Kind,
                          comparison.Input, watch.Active, comparison.Value, comparison.Limit, false});
        if (watch.Active) watch.Start = events.back();
    }
    // What is left belongs to limits that were taken away.
    Withdraw(ended, reading.UnixMilliseconds, events);
    return events;
}

std::vector<AlarmEvent> AlarmBook::Forget(const DeviceId& device, std::int64_t unixMilliseconds) {
    std::vector<AlarmEvent> events;
    const auto watched = m_Devices.extract(device);
    if (watched) Withdraw(watched.mapped().Alarms, unixMilliseconds, events);
    return events;
}

void AlarmBook::Withdraw(const std::map<Key, Watch>& alarms, std::int64_t unixMilliseconds,
                         std::vector<AlarmEvent>& events) {
    for (const auto& [key, watch] : alarms) {
        if (!watch.Active) continue;
        auto event = watch.Start;
        event.UnixMilliseconds = unixMilliseconds;
        event.Starts = false;
        event.Withdrawn = true;
        events.push_back(event);
    }
}

std::vector<AlarmEvent> AlarmBook::Active() const {
    std::vector<AlarmEvent> events;
    for (const auto& [device, watched] : m_Devices) {
        for (const auto& [key, watch] : watched.Alarms) {
            if (watch.Active) events.push_back(watch.Start);
        }
    }
    return events;
}

}  // namespace orvix::station
