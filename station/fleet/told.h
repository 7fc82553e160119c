#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/json/json.h"
#include "station/model/alarm.h"
#include "station/model/reading.h"

namespace orvix::station {

// What stations tell on their topics. It comes from outside: each function raises Error with what is wrong for a
// payload that is not as a station writes it, is larger than one, or holds what cannot be shown.

inline constexpr std::size_t kLongestToldName = 200;

/// A reading, with its number among those of the session.
struct ToldReading {
    Reading Taken;  ///< with the names that the station has for bus and device
    std::string Session;
    std::int64_t Seq = 0;
};

struct ToldDevice {
    std::string Id;
    int Address = 0;
    std::int32_t Model = 0;
    std::string Name;
    std::string Sentence;  ///< what is wrong with it; empty: nothing

    bool operator==(const ToldDevice&) const = default;
};

struct ToldBus {
    std::string Name;
    bool PortWorks = false;
    std::string Sentence;  ///< what is wrong with it; empty: nothing
    std::chrono::milliseconds Every{0};
    std::vector<ToldDevice> Devices;  ///< those whose ids are settled
};

/// Of a topic `devices/ID/state`.
ToldReading ReadingIn(std::string_view payload);
/// Of `buses/BUS/health`.
ToldBus BusIn(std::string_view payload);
/// Of a topic of an alarm; nothing of one that has not been on since its station began.
std::optional<AlarmEvent> AlarmIn(std::string_view payload);

}  // namespace orvix::station
