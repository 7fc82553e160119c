#include "station/commands/port_scan.h"

#include <unistd.h>

#include <iostream>

#include "station/configuration/device_registry.h"

namespace orvix::station {

PortScan::PortScan(Station& station, Apartment& home, const BusSetup& setup, ScanRange range, bool showBar,
                   OnFound onFound, OnEnd onEnd)
    : m_Display(std::cerr, setup.PortLabel, showBar && ::isatty(STDERR_FILENO) != 0),
      m_Progress{0, range.To - range.From + 1, {}},
      m_Thread(station, home, setup, range,
               {.OnFound =
                    [this, onFound](const FoundDevice& device) {
                        m_Found.push_back(device);
                        m_Display.Clear();
                        onFound(device);
                    },
                .OnProgress =
                    [this](const ScanProgress& progress) {
                        m_Progress = progress;
                        m_Display.Show(progress, m_Found.size());
                    },
                .OnEnd =
                    [this, onEnd](const std::optional<std::string>& failure) {
                        m_Display.Clear();
                        onEnd(failure);
                    }}) {}

void PortScan::Remember(const std::string& dataFolder, const std::string& port) const {
    DeviceRegistry registry(dataFolder);
    for (const auto& device : m_Found) {
        if (device.Model != 0) registry.Remember({port, device.Address, device.Model, {}, device.SerialNumber});
    }
}

}  // namespace orvix::station
