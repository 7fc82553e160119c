#pragma once

#include <iosfwd>
#include <string>

#include "station/source/scan_thread.h"

namespace orvix::station {

/// Shows people how far a scan is: a bar on a terminal, else a line every few seconds.
class ScanDisplay {
public:
    /// `port` is what people call it; `isTerminal` tells what `err` is.
    ScanDisplay(std::ostream& err, std::string port, bool isTerminal)
        : m_Err(err), m_Port(std::move(port)), m_IsTerminal(isTerminal) {}

    void Show(const ScanProgress& progress, std::size_t found);
    /// Takes the bar away, so that other text may follow.
    void Clear();

private:
    std::ostream& m_Err;
    const std::string m_Port;
    const bool m_IsTerminal;
    Duration m_ShownAt{0};
};

/// A bar in front of that text, as much of both as the columns of a terminal take.
std::string BarText(const ScanProgress& progress, const std::string& text, int columns);

/// "120 of 255 addresses, 2 found, 8 s left".
std::string ProgressText(const ScanProgress& progress, std::size_t found);

/// "5    sensor   serial NB1-0005, 21.5 °C", and what is suspect about it.
std::string DescriptionOf(const FoundDevice& device);

/// What helps a device that answers late.
inline constexpr char kLateCure[] = "try a larger --timeout-factor";

/// Why a suspect device is one.
inline constexpr char kSuspicion[] = "two devices share the address, or the line is noisy";

}  // namespace orvix::station
