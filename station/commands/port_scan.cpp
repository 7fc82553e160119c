#include "station/commands/port_scan.h"

#include <unistd.h>

#include "station/store/device_registry.h"

namespace orvix::station {

PortScan::PortScan(StationResources& station, Apartment& home, const BusSetup& setup, ScanRange range, Output& output,
                   std::ostream& err, bool showBar, const OnFound& onFound, const OnEnd& onEnd)
    : m_Output(output),
      m_Port(setup.PortLabel),
      m_Display(err, setup.PortLabel, showBar && ::isatty(STDERR_FILENO) != 0),
      m_Progress{0, range.To - range.From + 1, {}},
      m_Thread(station, home, setup, range,
               {.OnFound =
                    [this, onFound](const FoundDevice& device) {
                        m_Found.push_back(device);
                        ClearDisplay();
                        onFound(device);
                    },
                .OnProgress =
                    [this](const ScanProgress& progress) {
                        m_Progress = progress;
                        ShowProgress();
                    },
                .OnEnd =
                    [this, onEnd](const std::optional<std::string>& failure) {
                        ClearDisplay();
                        onEnd(failure);
                    }}) {}

void PortScan::ShowProgress() {
    const auto text = m_Port + ": " + ProgressText(m_Progress, m_Found.size());
    if (!m_Output.Progress(text)) m_Display.Show(m_Progress, m_Found.size());
}

void PortScan::ClearDisplay() {
    if (!m_Output.Progress({})) m_Display.Clear();
}

void PortScan::Remember(const std::string& dataFolder, const std::string& port) const {
    DeviceRegistry registry(dataFolder);
    for (const auto& device : m_Found) {
        if (device.Model != 0) registry.Remember({port, device.Address, device.Model, {}, device.SerialNumber});
    }
}

}  // namespace orvix::station
