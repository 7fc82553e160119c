#include "platform/file_descriptor.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <filesystem>

#include "host/error.h"

namespace orvix::platform {

void WriteAll(const FileDescriptor& file, ByteView bytes, const std::string& description) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file.Get(), bytes.data(), bytes.size());
        if (written >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            throw SystemError(description, errno);
        }
    }
}

void CreateFolders(const std::string& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw SystemError("folder " + folder + " cannot be created", error.value());
}

FileDescriptor LockFolder(const std::string& folder) {
    FileDescriptor lock(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock.IsOpen()) throw SystemError("folder " + folder + " cannot be opened", errno);
    while (::flock(lock.Get(), LOCK_EX) != 0) {
        if (errno != EINTR) throw SystemError("folder " + folder + " cannot be locked", errno);
    }
    return lock;
}

}  // namespace orvix::platform
