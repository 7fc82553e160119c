#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/commands/scan_display.h"
#include "station/run/output.h"
#include "station/source/bus_thread.h"
#include "station/source/scan_thread.h"

namespace orvix::station {

/// A scan of a port with its progress where the output shows it, else on standard error.
class PortScan {
public:
    using OnFound = std::function<void(const FoundDevice&)>;
    /// `failure`: why the line gave up.
    using OnEnd = std::function<void(const std::optional<std::string>& failure)>;

    /// `err` is standard error. Both functions are called on `home`; none after the object has gone, provided `home`
    /// delivers nothing while it goes. Raises what keeps the port from being opened.
    PortScan(StationResources& station, Apartment& home, const BusSetup& setup, ScanRange range, Output& output,
             std::ostream& err, bool showBar, const OnFound& onFound, const OnEnd& onEnd);

    const std::vector<FoundDevice>& Found() const { return m_Found; }
    const ScanProgress& Progress() const { return m_Progress; }
    /// Takes the progress bar away.
    void ClearDisplay();
    /// Keeps the found devices whose model is known.
    void Remember(const std::string& dataFolder, const std::string& port) const;

private:
    void ShowProgress();

    Output& m_Output;
    const std::string m_Port;
    ScanDisplay m_Display;
    std::vector<FoundDevice> m_Found;
    ScanProgress m_Progress;
    ScanThread m_Thread;
};

}  // namespace orvix::station
