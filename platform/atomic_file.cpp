#include "platform/atomic_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "host/error.h"
#include "platform/file_descriptor.h"
#include "platform/random_text.h"

namespace orvix::platform {

namespace {

std::string Description(const std::string& path) {
    return "file " + path + " cannot be written";
}

std::string FolderOf(const std::string& path) {
    const std::string parent = std::filesystem::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

/// Makes a rename in the folder last through a loss of power.
void FlushFolder(const std::string& folder, const std::string& description) {
    const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor.IsOpen()) throw SystemError(description, errno);
    // Some network file systems know no flush of folders and answer EINVAL.
    if (::fsync(descriptor.Get()) != 0 && errno != EINVAL) throw SystemError(description, errno);
}

/// Moves a finished file over another one in the same folder, and flushes the folder.
void ReplaceFile(const std::string& replacement, const std::string& path) {
    const std::string description = Description(path);
    if (::rename(replacement.c_str(), path.c_str()) != 0) throw SystemError(description, errno);
    FlushFolder(FolderOf(path), description);
}

}  // namespace

FileReplacement::FileReplacement(std::string path, mode_t mode)
    : m_Path(std::move(path)),
      m_Description(Description(m_Path)),
      m_Temporary(FolderOf(m_Path) + "/." + RandomText(16) + ".tmp"),
      m_File(::open(m_Temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode)) {
    if (!m_File.IsOpen()) throw SystemError(m_Description, errno);
}

FileReplacement::~FileReplacement() {
    if (!m_Finished) ::unlink(m_Temporary.c_str());
}

void FileReplacement::Write(ByteView bytes) {
    WriteAll(m_File, bytes, m_Description);
}

void FileReplacement::Finish() {
    if (::fsync(m_File.Get()) != 0) throw SystemError(m_Description, errno);
    ReplaceFile(m_Temporary, m_Path);
    m_Finished = true;
}

void WriteFileAtomically(const std::string& path, ByteView bytes, mode_t mode) {
    FileReplacement file(path, mode);
    file.Write(bytes);
    file.Finish();
}

}  // namespace orvix::platform
