#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/report_writer.h"
#include "host/variant.h"

namespace orvix {

/// Per-user store of application settings, by application, section and key.
class Settings {
public:
    virtual ~Settings() = default;
    virtual std::string GetSetting(const std::string& application, const std::string& section, const std::string& key,
                                   const std::string& defaultValue) = 0;
    virtual void SaveSetting(const std::string& application, const std::string& section, const std::string& key,
                             const std::string& value) = 0;
};

/// A file open for appending. Each call appends its text whole, also when others append to the same file.
class AppendFile {
public:
    virtual ~AppendFile() = default;
    virtual void Append(const std::string& text) = 0;
};

/// Failures are raised as SystemError, naming the file.
class Files {
public:
    virtual ~Files() = default;
    /// The whole file. Raises General for one above 64 MiB.
    virtual ByteArray ReadAll(const std::string& path) = 0;
    virtual bool FolderExists(const std::string& path) = 0;
    virtual void CreateFolder(const std::string& path) = 0;
    virtual std::unique_ptr<AppendFile> OpenAppend(const std::string& path) = 0;
    /// Gives a file these contents, in place of what it held. Whatever interrupts this, it has the old ones or the new.
    virtual void WriteWhole(const std::string& path, ByteView contents) = 0;
    virtual void Delete(const std::string& path) = 0;
};

class Paths {
public:
    virtual ~Paths() = default;
    /// The library's own folder, normalised.
    virtual std::string LibraryFolder() = 0;
    /// Absolute, without "." and "..", ending with one "/".
    virtual std::string Normalise(const std::string& folder) = 0;
    /// Makes the folder the process's current one.
    virtual void MakeCurrent(const std::string& folder) = 0;
    /// File name without folder and extension, for showing to a person.
    virtual std::string DisplayName(const std::string& file) = 0;
    /// Text of a port: "<port type>x<port address>".
    virtual std::string PortAddressText(std::int32_t portType, const std::string& portAddress) = 0;
};

class Stores {
public:
    virtual ~Stores() = default;
    virtual orvix::Settings& Settings() = 0;
    virtual orvix::Files& Files() = 0;
    virtual orvix::Paths& Paths() = 0;
    /// For one document. Raises General on a host that makes none.
    virtual std::unique_ptr<ReportWriter> CreateReportWriter() = 0;
};

}  // namespace orvix
