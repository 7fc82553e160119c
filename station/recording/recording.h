#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "station/bus/bus.h"
#include "station/bus/line_tap.h"

namespace orvix::station {

/// A line of a recording that is not as it should be, or a recording of another version; `what` names the line.
class RecordingError : public Error {
public:
    RecordingError(std::size_t line, const std::string& why)
        : Error(errors::General, "line " + std::to_string(line) + " of the recording: " + why) {}
};

/// What was recorded, and how its buses were used. The file's layout is in docs/recording.md.
struct RecordingHeader {
    std::int64_t StartedUnixMilliseconds = 0;
    std::string Program;  ///< version of the program that recorded
    /// PortLabel, PortNumber, Every, Retries, TimeoutFactor and the devices with address, model and name.
    std::vector<BusSetup> Buses;
};

/// An event of a serial line, its time counted from the start of the recording. Port is empty: the bus says it.
struct RecordedEvent {
    std::size_t Bus = 0;  ///< index into the header's buses
    LineEvent Event;
};

/// The first line of a recording, with its line end.
std::string HeaderLine(const RecordingHeader& header);
/// A line of its own for an event, with its line end.
std::string EventLine(const RecordedEvent& recorded);

struct Recording {
    RecordingHeader Header;
    std::vector<RecordedEvent> Events;  ///< of each bus in order of time
    bool CutOff = false;                ///< the last line had no end and was left out
};

/// Reads a whole recording. Raises RecordingError for a first line that is no header of this version, or is cut off,
/// and for any other line that is no event.
Recording ParseRecording(std::string_view text);
/// The same of a file. Raises SystemError as well, and General for what is no regular file or has more than 1 GiB.
Recording ReadRecording(const std::string& path);

}  // namespace orvix::station
