#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/date.h"
#include "host/services.h"
#include "platform/process_messaging.h"
#include "platform/virtual_apartment.h"
#include "tests/support/scripted_line.h"

namespace orvix::tests {

/// Stores in memory: settings, files and folders by name. A report document is a line of text for each thing written.
class MemoryStores : public Stores, private Settings, private Files, private Paths {
public:
    orvix::Settings& Settings() override { return *this; }
    orvix::Files& Files() override { return *this; }
    orvix::Paths& Paths() override { return *this; }
    std::unique_ptr<ReportWriter> CreateReportWriter() override;

    std::map<std::string, std::string> SettingValues;  ///< "application/section/key" -> value
    std::map<std::string, std::string> FileContents;   ///< path -> contents
    std::vector<std::string> Folders;
    bool FoldersCannotBeCreated = false;
    std::string ReportRefusal;  ///< what a report writer says when it opens a file
    bool FilesCannotBeWritten = false;

private:
    std::string GetSetting(const std::string&, const std::string&, const std::string&, const std::string&) override;
    void SaveSetting(const std::string&, const std::string&, const std::string&, const std::string&) override;
    ByteArray ReadAll(const std::string& path) override;
    bool FolderExists(const std::string& path) override;
    void CreateFolder(const std::string& path) override;
    std::unique_ptr<AppendFile> OpenAppend(const std::string& path) override;
    void WriteWhole(const std::string& path, ByteView contents) override;
    void Delete(const std::string& path) override;
    std::string LibraryFolder() override { return "/lib/"; }
    std::string Normalise(const std::string& folder) override;
    void MakeCurrent(const std::string&) override {}
    std::string DisplayName(const std::string& file) override { return std::filesystem::path(file).stem().string(); }
    std::string PortAddressText(std::int32_t portType, const std::string& portAddress) override {
        return std::to_string(portType) + "x" + portAddress;
    }
};

/// A host database in memory.
class MemoryDatabase : public Database {
public:
    MemoryDatabase();
    std::shared_ptr<HostDatabase> CreateConnection() override;
    std::unique_ptr<SQLDevices> CreateDevices(std::shared_ptr<HostDatabase> connection) override;
    std::unique_ptr<SQLPlantDevices> CreatePlantDevices(std::shared_ptr<HostDatabase> connection) override;
    DatabaseAccount Account() override { return {"NineChars", "Secret123"}; }

    std::map<std::string, std::string> Messages;  ///< "#-2147215991" -> text
    std::vector<RegisteredDevice> Registered;
    std::map<std::string, std::string> PlantNames;  ///< serial number -> name
    bool OpenFails = false;
    /// "file|workgroup|user|password" of each Open, "devices in path" and "plant in path".
    std::vector<std::string> Opened;
};

class RecordingReports : public Reports {
public:
    void Report(const std::string& report) override { All.push_back(report); }
    void WindowLoaded(DebugWindow& window) override { Window = &window; }
    void WindowUnloaded(DebugWindow&) override { Window = nullptr; }
    std::int32_t NetTimeoutInterval() const override { return 10; }

    std::vector<std::string> All;
    DebugWindow* Window = nullptr;
};

/// A viewer that writes down its lines while it is there, and can hang.
class RecordingViewer : public TraceViewer {
public:
    explicit RecordingViewer(Apartment& apartment) : m_Apartment(apartment) {}
    bool Found() override { return ++Searches > 0 && IsThere; }
    bool Send(const std::string& line, Duration limit) override;
    std::string ProgramName() override { return "host"; }
    std::int64_t ModuleHandle() override { return 4096; }

    bool IsThere = false;
    bool Hangs = false;  ///< takes nothing, and fails when its sender has waited
    int Searches = 0;
    std::vector<std::string> Lines;

private:
    Apartment& m_Apartment;
};

/// One apartment in virtual time with everything that the library asks of its host. Several share a world.
struct World {
    platform::VirtualScheduler Scheduler{FromCivilTime({2026, 11, 22, 12, 0, 0})};
    platform::Directory Directory;
};

class TestHost {
public:
    explicit TestHost(World& world, std::int32_t threadID = 1);

    World& Shared;
    platform::VirtualApartment Apartment;
    platform::ProcessMessaging Messaging;
    ScriptedLine Line;
    MemoryStores Stores;
    MemoryDatabase Database;
    RecordingReports Reports;
    RecordingViewer Viewer{Apartment};
    ApartmentState State;
    orvix::Services Services;

    /// Runs the world for so many virtual milliseconds.
    void Run(int milliseconds) { Shared.Scheduler.RunFor(std::chrono::milliseconds(milliseconds)); }
};

/// A shared entry with the state of a task, of the given name or one of its own.
std::unique_ptr<SharedEntry> EntryWith(Messaging& messaging, ByteArray state, const std::string& name = {});

/// An endpoint that writes down what it receives, as a host or a driver's peer would: custom messages as they are,
/// work as "work:" and the key, progress as "progress:text:value:minimum:maximum", with fields shown as " | ".
class RecordingEndpoint {
public:
    RecordingEndpoint(orvix::Messaging& messaging, const std::string& name, const std::string& peer);
    Channel& Endpoint() { return *m_Channel; }
    /// Asks the peer to close, again when it has refused. Returns whether it has gone within the time.
    bool ClosePeer(TestHost& host, Duration limit);
    /// What has been received since the last call.
    std::vector<std::string> Take() { return std::exchange(m_Received, {}); }
    bool RefuseDestroy = false;
    bool ServerDestroyed = false;

private:
    std::unique_ptr<Channel> m_Channel;
    std::vector<std::string> m_Received;
};

}  // namespace orvix::tests
