#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace orvix::station {

/// A line that a station's tracer has sent to the trace viewer. Day and clock are UTC.
struct TraceLine {
    std::string Day;    ///< "2026-11-22"
    std::string Clock;  ///< "19:12:03"
    std::string Program;
    std::int32_t Thread = 0;
    std::string Text;
};

/// Reads "program: module: thread: yyyymmdd hhnnss: text", where only the program may hold a ":". Nothing for a line
/// of another form.
std::optional<TraceLine> ParseTraceLine(std::string line);

}  // namespace orvix::station
