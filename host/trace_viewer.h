#pragma once

#include <cstdint>
#include <string>

#include "host/apartment.h"

namespace orvix {

/// The trace viewer on this user's desktop, and how this process names itself in lines for it. One a process, shared by
/// all apartments.
class TraceViewer {
public:
    virtual ~TraceViewer() = default;
    /// Whether there is a viewer. It is looked for at the first call in the process and never again: one that starts
    /// later is not found.
    virtual bool Found() = 0;
    /// Hands a line, without its line end, to the viewer found; blocks at most `limit` while the viewer does not take
    /// it. Returns whether it was taken.
    virtual bool Send(const std::string& line, Duration limit) = 0;

    /// Name of the host's executable file.
    virtual std::string ProgramName() = 0;
    /// The system's handle of this library, as a number.
    virtual std::int64_t ModuleHandle() = 0;
};

}  // namespace orvix
