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

/// A file that is removed again unless it has been given its final name.
class TemporaryFile {
public:
    TemporaryFile(const std::string& folder, mode_t mode, const std::string& description)
        : m_Path(folder + "/." + RandomText(16) + ".tmp"),
          m_File(::open(m_Path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode)) {
        if (!m_File.IsOpen()) throw SystemError(description, errno);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!m_Kept) ::unlink(m_Path.c_str());
    }

    void Fill(ByteView bytes, const std::string& description) {
        WriteAll(m_File, bytes, description);
        if (::fsync(m_File.Get()) != 0) throw SystemError(description, errno);
    }

    void MoveTo(const std::string& path) {
        ReplaceFile(m_Path, path);
        m_Kept = true;
    }

private:
    std::string m_Path;
    FileDescriptor m_File;
    bool m_Kept = false;
};

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

}  // namespace

void WriteFileAtomically(const std::string& path, ByteView bytes, mode_t mode) {
    const std::string description = Description(path);
    TemporaryFile temporary(FolderOf(path), mode, description);
    temporary.Fill(bytes, description);
    temporary.MoveTo(path);
}

void ReplaceFile(const std::string& replacement, const std::string& path) {
    const std::string description = Description(path);
    if (::rename(replacement.c_str(), path.c_str()) != 0) throw SystemError(description, errno);
    FlushFolder(FolderOf(path), description);
}

}  // namespace orvix::platform
