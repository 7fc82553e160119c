#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/apartment.h"
#include "station/model/line_event.h"
#include "station/model/reading.h"

namespace orvix::station {

/// Something worth saying about a device that fails, or about a port that does.
struct EpisodeEvent {
    enum class Kind {
        Began,
        Ended,
        Unsteady,  ///< it fails so often that single failures are no longer reported; and again now and then
        Steady,    ///< an unsteady one has been well for a while
    };

    Kind What = Kind::Began;
    std::int64_t UnixMilliseconds = 0;
    std::string Port;
    int Address = 0;  ///< 0: the port itself
    std::string Name;
    Failure Error;           ///< the latest
    int Count = 1;           ///< how often it failed, of Unsteady and Steady
    int FailedReadings = 0;  ///< in all of that
    Duration Lasted{0};      ///< since the episode began, or the first of those that made it unsteady
    bool FailsNow = true;
};

/// "/dev/ttyUSB0, 12 Oven: answers again after 37 failed readings in 2 min 5 s".
std::string TextOf(const EpisodeEvent& event);

/// Says what fails once when it begins and once when it ends, whatever the number of readings in between. What has
/// failed for the fourth time within two hours is unsteady: that is said once, again after ten minutes, then every
/// hour, until it has been well for an hour. Readings that fail because their port does count for the port alone.
///
/// Times are of one steady clock. All members return what is to be said, in order.
class Episodes {
public:
    std::vector<EpisodeEvent> OnReading(const Reading& reading, Duration now);
    /// Something is wrong with a port that belongs to no single reading; a good reading ends it.
    std::vector<EpisodeEvent> OnTrouble(const std::string& port, const Failure& failure, Duration now);
    /// A failed line is a failed port; the first reading that gets beyond the line ends it.
    std::vector<EpisodeEvent> OnLine(const LineEvent& event, Duration now);
    /// What has become due by the passing of time; call it every few seconds.
    std::vector<EpisodeEvent> OnPassing(Duration now);

    /// Drops what is known of a device or a port.
    void Forget(const DeviceId& subject) { m_Subjects.erase(subject); }

    /// One sentence about what fails or is unsteady now, for the end of the program; empty when all is well.
    std::string Summary(Duration now) const;

private:
    struct Subject {
        std::string Name;
        bool Failing = false;
        bool Unsteady = false;
        Failure Error;
        int Count = 0;           ///< of the episodes since it became unsteady
        int FailedReadings = 0;  ///< of the episode, or since it became unsteady
        Duration Since{0};
        Duration LatestFailure{0};
        Duration NextReport{0};
        /// The episodes that began within the two hours before the latest: when, and their failed readings.
        std::deque<std::pair<Duration, int>> Recent;

        bool LineFailed = false;  ///< of a port: since its latest reading
        bool EndsBeyondTheLine =
            false;  ///< of a port: it was the line that failed, so that any reading beyond it is its end
    };
    using Events = std::vector<EpisodeEvent>;

    Subject& Fail(const DeviceId& id, const Failure& failure, Duration now, Events& events);
    void End(const DeviceId& id, Duration now, Events& events);
    static EpisodeEvent::Kind Begin(Subject& subject, Duration now);
    static EpisodeEvent EventOf(EpisodeEvent::Kind what, const DeviceId& id, const Subject& subject, Duration now);

    std::map<DeviceId, Subject> m_Subjects;
};

}  // namespace orvix::station
