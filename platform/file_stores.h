#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/stores.h"

namespace orvix::platform {

/// Settings, files and paths of this machine. May be shared by all apartments and used from any thread.
///
/// Settings are kept in the file <config folder>/<application>.ini, whose form ini_text.h describes. Reading or saving
/// raises SystemError when the file cannot be read or written, and General for an application without a usable name.
class FileStores : public Stores, private Settings, private Files, private Paths {
public:
    using ReportWriters = std::function<std::unique_ptr<ReportWriter>()>;

    /// The folders may be relative to the current one of this moment. `reportWriters` makes the report writers, from
    /// any thread; without it there are none.
    FileStores(const std::string& configFolder, const std::string& libraryFolder, ReportWriters reportWriters = {});

    orvix::Settings& Settings() override { return *this; }
    orvix::Files& Files() override { return *this; }
    orvix::Paths& Paths() override { return *this; }
    std::unique_ptr<ReportWriter> CreateReportWriter() override;

private:
    std::string GetSetting(const std::string& application, const std::string& section, const std::string& key,
                           const std::string& defaultValue) override;
    void SaveSetting(const std::string& application, const std::string& section, const std::string& key,
                     const std::string& value) override;

    ByteArray ReadAll(const std::string& path) override;
    bool FolderExists(const std::string& path) override;
    void CreateFolder(const std::string& path) override;
    std::unique_ptr<AppendFile> OpenAppend(const std::string& path) override;
    void WriteWhole(const std::string& path, ByteView contents) override;
    void Delete(const std::string& path) override;

    std::string LibraryFolder() override { return m_LibraryFolder; }
    std::string Normalise(const std::string& folder) override;
    void MakeCurrent(const std::string& folder) override;
    std::string DisplayName(const std::string& file) override;
    std::string PortAddressText(std::int32_t portType, const std::string& portAddress) override;

    std::string SettingsFile(const std::string& application) const;
    std::string SettingsText(const std::string& application);

    std::string m_ConfigFolder;
    std::string m_LibraryFolder;
    ReportWriters m_ReportWriters;
};

}  // namespace orvix::platform
