#include "platform/process_lock.h"

#include <fcntl.h>

#include <cerrno>

#include "host/error.h"
#include "platform/regular_file.h"

namespace orvix::platform {

ProcessLock::ProcessLock(const std::string& path) : m_File(OpenRegularFile(path, O_RDWR | O_CREAT, kOwnerOnly)) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (::fcntl(m_File.Get(), F_SETLK, &lock) == 0) return;
    if (errno != EACCES && errno != EAGAIN) throw SystemError(path + " cannot be locked", errno);
    ::fcntl(m_File.Get(), F_GETLK, &lock);
    m_Holder = lock.l_type == F_UNLCK || lock.l_pid < 0 ? 0 : lock.l_pid;
}

}  // namespace orvix::platform
