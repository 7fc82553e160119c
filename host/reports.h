#pragma once

#include <cstdint>
#include <string>

#include "host/debug_window.h"

namespace orvix {

/// What the library tells its host outside the message channels, and what the host lets it assume.
class Reports {
public:
    virtual ~Reports() = default;
    /// An error that was reported and not raised: its whole report, several lines.
    virtual void Report(const std::string& report) = 0;
    /// A window has been loaded; a host that shows windows attaches its view. `window` lives until WindowUnloaded.
    virtual void WindowLoaded(DebugWindow& window) = 0;
    virtual void WindowUnloaded(DebugWindow& window) = 0;
    /// Per-character time factor, in milliseconds, of tasks that the library makes itself.
    virtual std::int32_t NetTimeoutInterval() const = 0;
};

}  // namespace orvix
