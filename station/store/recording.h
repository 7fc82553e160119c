#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/error.h"
#include "station/model/bus_setup.h"
#include "station/model/line_event.h"

namespace orvix::station {

/// A line of a recording that is not as it should be, or a recording of another version; `what` names the line.
class RecordingError : public Error {
public:
    RecordingError(std::size_t line, const std::string& why)
        : Error(errors::General, "line " + std::to_string(line) + " of the recording: " + why) {}
};

// The file's layout is in docs/recording.md. Times are counted from the start of the recording.

struct RecordingHeader {
    std::int64_t StartedUnixMilliseconds = 0;
    std::string Program;  ///< version of the program that recorded
};

/// What a bus was from a time on.
struct RecordedSetup {
    Duration Time{0};
    BusSetup Setup;  ///< PortLabel, PortNumber, Every, Retries, TimeoutFactor; devices with address, model and name
};

/// A bus from its start to its end. One that is started anew, on the same port, is another.
struct RecordedBus {
    std::vector<RecordedSetup> Setups;  ///< at least one; those behind the first differ in their devices alone
    std::vector<LineEvent> Events;      ///< in order of time; Port is empty: the setup says it
};

struct Recording {
    RecordingHeader Header;
    std::vector<RecordedBus> Buses;
    bool CutOff = false;  ///< the last line had no end and was left out
};

/// The first line of a recording, with its line end.
std::string HeaderLine(const RecordingHeader& header);
/// A line of its own for what a bus is, with its line end. Buses count from 0 in the order of their first lines.
std::string SetupLine(std::size_t bus, const RecordedSetup& recorded);
/// The same for an event.
std::string EventLine(std::size_t bus, const LineEvent& event);

/// Reads a whole recording. Raises RecordingError for a first line that is no header of this version, or is cut off,
/// and for any other line that is neither a bus nor an event of one that a line before has described.
Recording ParseRecording(std::string_view text);
/// The same of a file. Raises SystemError as well, and General for what is no regular file or has more than 1 GiB.
Recording ReadRecording(const std::string& path);

}  // namespace orvix::station
