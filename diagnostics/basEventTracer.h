#pragma once

#include <cstdint>
#include <string>

#include "host/services.h"
#include "host/variant.h"

namespace orvix {

/// How a trace entry is laid out.
struct TraceLayout {
    bool Continue = false;    ///< end the entry with ", " instead of a line end
    bool Repeatable = false;  ///< equal entries in a row are counted, not written
    std::int16_t Indent = 0;  ///< leading blanks
    std::int16_t LinesBefore = 0;
    std::int16_t LinesAfter = 0;
};

/// The event tracer of an apartment: a readable trace in a daily file and, piece by piece, in the trace viewer if one
/// was found. Tracing never raises. All instances of an apartment share its state.
class cEventTracer {
public:
    explicit cEventTracer(const Services& services) : m_Services(services) {}

    /// Switches tracing on, which opens the day's file, or closes the file and switches it off.
    void LogMode(bool rhs);
    /// Folder of the trace files; empty means the library's own folder followed by "/Log". While tracing, the trace
    /// goes on in the new folder.
    void LogPath(const std::string& rhs);

    /// Traces a text. One that contains "DebugForOutput" is a command: it opens the file if it also contains "Open",
    /// else it closes it.
    void TraceEvent(const std::string& Text, const TraceLayout& layout = {});
    /// Traces "VarName=Value".
    void PLXTrcV(const std::string& VarName, const Variant& Value, const TraceLayout& layout = {});
    /// Sends the values as one line to the trace viewer, if one was found and tracing is on; a byte array contributes
    /// its elements. The line is "program: module: thread: yyyymmdd hhnnss: values", where the module's handle and the
    /// thread's number are decimal, tabs separate the values and a ":" in them is replaced by " - ". The viewer may
    /// block the caller for 5000 ms a line.
    void TraceToViewer(const VariantList& values);

private:
    const Services& m_Services;
};

}  // namespace orvix
