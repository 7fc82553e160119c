#pragma once

#include <cstddef>

#include "station/model/line_event.h"

namespace orvix::station {

/// What happened on the line of a recorded bus, in order of time, read ahead only as far as it is asked for. Times are
/// counted from the start of the recording.
class RecordedEvents {
public:
    virtual ~RecordedEvents() = default;
    /// The event so many places behind the next one; null when none of that place is at `until` or before. Valid until
    /// the next call.
    virtual const LineEvent* Ahead(std::size_t place, Duration until) = 0;
    /// Goes on to the event so many places behind the next one, which has been looked at.
    virtual void Pass(std::size_t places) = 0;

    /// Whether no event is left.
    virtual bool AtEnd() const = 0;
    /// Whether the recording was broken off: how it went on after the last event is not known.
    virtual bool IsBrokenOff() const = 0;
};

}  // namespace orvix::station
