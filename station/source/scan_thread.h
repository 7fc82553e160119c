#pragma once

#include <functional>
#include <optional>

#include "station/source/bus_thread.h"
#include "station/source/scan.h"

namespace orvix::station {

struct ScanProgress {
    int Done = 0;   ///< addresses
    int Total = 0;  ///< addresses
    Duration Elapsed{0};

    /// Nothing while it cannot be told.
    std::optional<Duration> Left() const;
};

/// What a scan tells.
struct ScanEvents {
    std::function<void(const FoundDevice&)> OnFound;
    std::function<void(const ScanProgress&)> OnProgress;
    /// The scan is at its end, all found devices told; or the line has failed, for the reason given.
    std::function<void(const std::optional<std::string>& reason)> OnEnd;
};

/// A scan of one port on a thread of its own, from construction to its end or its destruction. Its events come on the
/// listener's apartment.
class ScanThread {
public:
    /// Takes port, time-out factor and tracing from the setup. Raises what keeps the port from being opened.
    ScanThread(StationResources& station, Apartment& listener, const BusSetup& setup, ScanRange range,
               ScanEvents events);
    /// Breaks off, after the exchange under way.
    ~ScanThread();
    ScanThread(const ScanThread&) = delete;
    ScanThread& operator=(const ScanThread&) = delete;

private:
    ServicesThread m_Thread;
};

}  // namespace orvix::station
