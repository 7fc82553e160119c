#include "station/bus_services.h"

#include "station/pdf_report.h"

namespace orvix::station {

BusServices::BusServices(platform::Directory& directory, const StationFolders& folders, const DatabaseAccount& account,
                         std::int16_t portNumber, const std::string& portPath, std::int32_t netTimeoutInterval)
    : m_Messaging(directory, m_Apartment),
      m_Line({{portNumber, portPath}}),
      m_Stores(folders.Configuration, folders.Library,
               [this] { return std::make_unique<PdfReport>(m_Apartment.DateNow()); }),
      m_Database(account),
      m_NetTimeoutInterval(netTimeoutInterval),
      m_Services{m_Apartment, m_Messaging, m_Line, m_Stores, m_Database, *this, m_State} {}

void BusServices::Report(const std::string& report) {
    if (OnReport) OnReport(report);
}

void BusServices::WindowLoaded(DebugWindow& window) {
    window.Changed = [this, &window](const std::string& controlName) {
        if (OnDebugLine && window.Visible && controlName == "lblinfo") OnDebugLine(window.Controls.at("lblinfo").Text);
    };
}

void BusServices::WindowUnloaded(DebugWindow& window) {
    window.Changed = nullptr;
}

}  // namespace orvix::station
