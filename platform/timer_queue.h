#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "host/apartment.h"

namespace orvix::platform {

class RepeatingTimer;

/// The timers of one message loop in the order in which they fall due; those due at the same moment tick in the order
/// in which they were armed. Used on the loop's thread only, and outlives its timers.
class TimerQueue {
public:
    /// A timer, switched off, that goes by the apartment's clock. Its due times are the moment of arming plus whole
    /// multiples of the interval; an interval below 1 ms counts as 1.
    std::unique_ptr<Timer> Create(const Apartment& apartment, std::function<void()> tick);

    /// Numbers of threads whose timers have to wait.
    using Threads = std::set<std::int32_t>;

    std::optional<Duration> NextDue(const Threads& blocked = {}) const;
    /// Lets the first timer that is due by `now` tick. However long the loop was held up, it ticks once, and is next
    /// due after `now`. Returns false when none is due.
    bool TickNext(Duration now, const Threads& blocked = {});

private:
    friend class RepeatingTimer;
    using Place = std::pair<Duration, std::uint64_t>;
    using ByPlace = std::map<Place, RepeatingTimer*>;
    ByPlace::const_iterator First(const Threads& blocked) const;
    Place Enter(Duration due, RepeatingTimer& timer);
    void Leave(const Place& place) { m_Due.erase(place); }

    std::uint64_t m_Sequence = 0;
    ByPlace m_Due;
};

}  // namespace orvix::platform
