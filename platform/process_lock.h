#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/file_descriptor.h"

namespace orvix::platform {

/// A file that one process has to itself as long as this lives. The system lets go of it when the process ends, however
/// it ends; programs that the process starts do not have it. The file stays.
class ProcessLock {
public:
    /// Raises SystemError when the file cannot be made, or not be locked.
    explicit ProcessLock(const std::string& path);

    /// Who has it instead of this process: the process, 0 when it cannot be told. Nothing: this one has it.
    std::optional<pid_t> Holder() const { return m_Holder; }

private:
    FileDescriptor m_File;
    std::optional<pid_t> m_Holder;
};

}  // namespace orvix::platform
