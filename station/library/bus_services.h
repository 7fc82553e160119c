#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "host/services.h"
#include "platform/file_stores.h"
#include "platform/process_messaging.h"
#include "platform/sqlite_database.h"
#include "station/model/line_event.h"

namespace orvix::station {

/// What a station's buses share.
struct StationFolders {
    std::string Data;           ///< history and trace files
    std::string Configuration;  ///< per-user settings
    std::string Library;        ///< the library's own folder
    std::string Database = {};  ///< of the host's database: Data, unless that cannot be used
};

/// What the services of one bus are made of, on whichever thread.
struct ServicesSetup {
    platform::Directory& Directory;
    const StationFolders& Folders;
    const DatabaseAccount& Account;
    TraceViewer& Viewer;
    std::int16_t PortNumber;
    std::string PortLabel;
    std::string PortPath;
    std::int32_t NetTimeoutInterval;
};

/// Everything that the library asks of its host, for the thread of an apartment.
class BusServices : private Reports {
public:
    /// `apartment` and `line` outlive this.
    BusServices(ServicesSetup setup, orvix::Apartment& apartment, Line& line);

    const ServicesSetup& Setup() const { return m_Setup; }
    const orvix::Services& Get() const { return m_Services; }
    orvix::Apartment& Apartment() { return m_Apartment; }

    /// Called by whoever made the line with what happens on it.
    LineListener OnLine;
    /// Called with each error that the library reports and does not raise.
    std::function<void(const std::string& report)> OnReport;
    /// Called with each new line of the driver's debug window while it is shown.
    std::function<void(const std::string& line)> OnDebugLine;

private:
    void Report(const std::string& report) override;
    void WindowLoaded(DebugWindow& window) override;
    void WindowUnloaded(DebugWindow& window) override;
    std::int32_t NetTimeoutInterval() const override { return m_Setup.NetTimeoutInterval; }

    ServicesSetup m_Setup;
    orvix::Apartment& m_Apartment;
    platform::ProcessMessaging m_Messaging;
    platform::FileStores m_Stores;
    platform::SqliteDatabase m_Database;
    ApartmentState m_State;
    orvix::Services m_Services;
};

}  // namespace orvix::station
