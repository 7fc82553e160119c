#include "platform/file_stores.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "host/error.h"
#include "host/text.h"
#include "platform/atomic_file.h"
#include "platform/file_descriptor.h"
#include "platform/ini_text.h"
#include "platform/regular_file.h"

namespace orvix::platform {

namespace {

constexpr std::size_t kLargestFile = std::size_t{64} * 1024 * 1024;
constexpr mode_t kDocument = 0666;

class DescriptorAppendFile : public AppendFile {
public:
    explicit DescriptorAppendFile(const std::string& path)
        : m_Path(path), m_File(OpenRegularFile(path, O_WRONLY | O_APPEND | O_CREAT, kOwnerOnly)) {}

    void Append(const std::string& text) override {
        WriteAll(m_File, TextToBytes(text), "file " + m_Path + " cannot be written");
    }

private:
    std::string m_Path;
    FileDescriptor m_File;
};

std::string NormalisedFolder(const std::string& folder) {
    std::error_code error;
    const auto absolute = std::filesystem::absolute(folder.empty() ? "." : folder, error);
    if (error) throw SystemError("folder " + folder, error.value());
    std::string normal = absolute.lexically_normal().string();
    if (!normal.ends_with('/')) normal += '/';
    return normal;
}

}  // namespace

FileStores::FileStores(const std::string& configFolder, const std::string& libraryFolder, ReportWriters reportWriters)
    : m_ConfigFolder(NormalisedFolder(configFolder)),
      m_LibraryFolder(NormalisedFolder(libraryFolder)),
      m_ReportWriters(std::move(reportWriters)) {}

std::unique_ptr<ReportWriter> FileStores::CreateReportWriter() {
    if (!m_ReportWriters) throw Error(errors::General, "there is no report writer here");
    return m_ReportWriters();
}

std::string FileStores::SettingsFile(const std::string& application) const {
    if (application.empty() || application.find_first_of(std::string("/\0", 2)) != std::string::npos) {
        throw Error(errors::General, "\"" + application + "\" cannot be the name of a settings file");
    }
    return m_ConfigFolder + application + ".ini";
}

std::string FileStores::SettingsText(const std::string& application) {
    const std::string file = SettingsFile(application);
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found) return {};
    return BytesToText(ReadAll(file));
}

std::string FileStores::GetSetting(const std::string& application, const std::string& section, const std::string& key,
                                   const std::string& defaultValue) {
    return IniValue(SettingsText(application), section, key).value_or(defaultValue);
}

void FileStores::SaveSetting(const std::string& application, const std::string& section, const std::string& key,
                             const std::string& value) {
    CreateFolders(m_ConfigFolder);
    // Drivers of other buses, in this process or another, save to the same file.
    const FileDescriptor lock = LockFolder(m_ConfigFolder);
    const std::string text = WithIniValue(SettingsText(application), section, key, value);
    WriteFileAtomically(SettingsFile(application), TextToBytes(text), kOwnerOnly);
}

ByteArray FileStores::ReadAll(const std::string& path) {
    return ReadRegularFile(path, kLargestFile);
}

bool FileStores::FolderExists(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

void FileStores::CreateFolder(const std::string& path) {
    CreateFolders(path);
}

std::unique_ptr<AppendFile> FileStores::OpenAppend(const std::string& path) {
    return std::make_unique<DescriptorAppendFile>(path);
}

void FileStores::WriteWhole(const std::string& path, ByteView contents) {
    WriteFileAtomically(path, contents, kDocument);
}

void FileStores::Delete(const std::string& path) {
    if (::unlink(path.c_str()) != 0) throw SystemError("file " + path + " cannot be deleted", errno);
}

std::string FileStores::Normalise(const std::string& folder) {
    return NormalisedFolder(folder);
}

void FileStores::MakeCurrent(const std::string& folder) {
    if (::chdir(folder.c_str()) != 0) throw SystemError("folder " + folder + " cannot become the current one", errno);
}

std::string FileStores::DisplayName(const std::string& file) {
    return std::filesystem::path(file).stem().string();
}

std::string FileStores::PortAddressText(std::int32_t portType, const std::string& portAddress) {
    return NumberText(portType) + "x" + portAddress;
}

}  // namespace orvix::platform
