#include "platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/error.h"

namespace orvix::platform {

FileDescriptor OpenRegularFile(const std::string& path, int flags, mode_t mode) {
    FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode));
    if (!file.IsOpen()) throw SystemError("file " + path + " cannot be opened", errno);
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0) throw SystemError("file " + path + " cannot be opened", errno);
    if (!S_ISREG(status.st_mode)) throw Error(errors::General, path + " is not a regular file");
    return file;
}

void RequireRegularFile(const std::string& path, int access) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || ::access(path.c_str(), access) != 0) {
        throw SystemError("file " + path + " cannot be opened", errno);
    }
    if (!S_ISREG(status.st_mode)) throw Error(errors::General, path + " is not a regular file");
}

void MakeRegularFile(const std::string& path) {
    if (::access(path.c_str(), F_OK) != 0 && errno == ENOENT) OpenRegularFile(path, O_RDWR | O_CREAT, kOwnerOnly);
    RequireRegularFile(path, R_OK | W_OK);
}

ByteArray ReadRegularFile(const std::string& path, std::size_t limit) {
    constexpr std::size_t kChunk = 65536;
    const FileDescriptor file = OpenRegularFile(path, O_RDONLY);
    ByteArray contents;
    for (;;) {
        const std::size_t filled = contents.size();
        contents.resize(filled + kChunk);
        const ssize_t count = ::read(file.Get(), contents.data() + filled, kChunk);
        if (count < 0 && errno != EINTR) throw SystemError("file " + path + " cannot be read", errno);
        contents.resize(filled + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (contents.size() > limit) {
            throw Error(errors::General, "file " + path + " is larger than " + std::to_string(limit) + " bytes");
        }
        if (count == 0) return contents;
    }
}

bool NamesFile(const std::string& path, const FileDescriptor& file) {
    struct stat named {};
    struct stat opened {};
    return ::stat(path.c_str(), &named) == 0 && ::fstat(file.Get(), &opened) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

}  // namespace orvix::platform
