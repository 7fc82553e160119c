#include "station/library/bus_services.h"

#include <utility>

#include "station/report/pdf_report.h"

namespace orvix::station {

BusServices::BusServices(ServicesSetup setup, orvix::Apartment& apartment, Line& line)
    : m_Setup(std::move(setup)),
      m_Apartment(apartment),
      m_Messaging(m_Setup.Directory, m_Apartment),
      m_Stores(m_Setup.Folders.Configuration, m_Setup.Folders.Library,
               [this] { return std::make_unique<PdfReport>(m_Apartment.DateNow()); }),
      m_Database(m_Setup.Account),
      m_Services{m_Apartment, m_Messaging, line, m_Stores, m_Database, *this, m_Setup.Viewer, m_State} {}

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
