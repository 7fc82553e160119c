#include "station/commands/scan_display.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <ostream>

#include "host/text.h"
#include "simulator/device_arguments.h"
#include "station/model/text.h"
#include "station/run/harmless_stream.h"

namespace orvix::station {
namespace {

constexpr int kMostBar = 30;
constexpr int kLeastBar = 5;
constexpr int kUsualColumns = 80;
constexpr Duration kLinePeriod = std::chrono::seconds(3);

constexpr char kClearLine[] = "\r\x1B[K";

std::string ValueShown(const FoundDevice& device) {
    if (std::holds_alternative<std::monostate>(device.Value)) return "no value";
    const bool isInputs = std::holds_alternative<std::int32_t>(device.Value);
    return (isInputs ? "inputs " : "") + ValueWithUnit(device.Value);
}

/// The width of the terminal that standard error is.
int Columns() {
    winsize size{};
    const bool isKnown = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : kUsualColumns;
}

}  // namespace

std::string BarText(const ScanProgress& progress, const std::string& text, int columns) {
    // A terminal that has filled its last column may begin another line.
    const int room = columns - 1;
    const int width = std::min(room - DisplayWidth("[] " + text), kMostBar);
    if (width < kLeastBar) return std::string(BeginningOf(text, std::max(room, 0)));
    const int filled = progress.Done * width / progress.Total;
    return "[" + std::string(static_cast<std::size_t>(filled), '#') +
           std::string(static_cast<std::size_t>(width - filled), '.') + "] " + text;
}

std::string ProgressText(const ScanProgress& progress, std::size_t found) {
    auto text = std::to_string(progress.Done) + " of " + std::to_string(progress.Total) + " addresses, " +
                std::to_string(found) + " found";
    if (const auto left = progress.Left()) {
        text += ", " + std::to_string(std::chrono::ceil<std::chrono::seconds>(*left).count()) + " s left";
    }
    return text;
}

std::string DescriptionOf(const FoundDevice& device) {
    auto text = Padded(NumberText(std::int32_t{device.Address}), 5) + Padded(simulator::ModelName(device.Model), 9) +
                (device.SerialNumber.empty() ? "no serial number" : "serial " + SerialText(device.SerialNumber)) +
                ", " + ValueShown(device);
    if (device.Suspect) text += "  suspect: " + std::string(kSuspicion);
    if (device.AnswersLate) text += "  answers late: " + std::string(kLateCure);
    return text;
}

void ScanDisplay::Show(const ScanProgress& progress, std::size_t found) {
    const auto text = ProgressText(progress, found);
    if (m_IsTerminal) {
        Steer(m_Err, kClearLine);
        m_Err << BarText(progress, text, Columns()) << std::flush;
    } else if (progress.Elapsed - m_ShownAt >= kLinePeriod) {
        m_ShownAt = progress.Elapsed;
        m_Err << "nimbo1: " << m_Port << ": " << text << std::endl;
    }
}

void ScanDisplay::Clear() {
    if (m_IsTerminal) Steer(m_Err, kClearLine);
}

}  // namespace orvix::station
