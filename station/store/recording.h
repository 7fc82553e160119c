#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

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
    std::string Program;      ///< version of the program that recorded
    bool NamesPorts = false;  ///< the station's lines named the port: it had several
};

/// What a bus was from a time on: all that readings, alarms and what is said of them depend on. Neither the port's
/// device file nor how the program worked inside.
struct RecordedSetup {
    Duration Time{0};
    BusSetup Setup;
};

/// The bus is not read any more.
struct BusGone {};
/// The recording was ended in order.
struct RecordingEnd {};

/// A line behind the header.
struct RecordedLine {
    Duration Time{0};
    std::size_t Bus = 0;  ///< counted from 0, in the order of the buses' first lines; of RecordingEnd nothing
    /// A bus that is started anew, on the same port, is another bus. Further setups of a bus differ in its devices
    /// alone. Of events the port is empty: the setup says it.
    std::variant<BusSetup, LineEvent, BusGone, RecordingEnd> What;
};

/// The first line of a recording, with its line end.
std::string HeaderLine(const RecordingHeader& header);
/// A line of its own for what a bus is, with its line end.
std::string SetupLine(std::size_t bus, const RecordedSetup& recorded);
/// The same for an event.
std::string EventLine(std::size_t bus, const LineEvent& event);
/// The same for a bus that is gone.
std::string GoneLine(std::size_t bus, Duration time);
/// The last line.
std::string EndLine(Duration time);

/// Reads a first line, without its end. Version 1 lacks the limits of devices and all that follows from them. Raises
/// RecordingError when it is none.
RecordingHeader ParseHeader(std::string_view line);
/// Reads any other line. Raises RecordingError, which names the line by its number.
RecordedLine ParseLine(std::string_view line, std::size_t number);

}  // namespace orvix::station
