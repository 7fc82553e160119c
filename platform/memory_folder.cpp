#include "platform/memory_folder.h"

#include <stdlib.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "host/error.h"

namespace orvix::platform {

MemoryFolder::MemoryFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    for (const char* place : {runtime, "/dev/shm", "/run", "/tmp"}) {
        m_Path = std::string(place == nullptr ? "" : place) + "/nimbo1_XXXXXX";
        if (place == nullptr || ::mkdtemp(m_Path.data()) == nullptr) continue;
        m_Path += "/";
        return;
    }
    throw SystemError("there is no folder for files in memory", errno);
}

MemoryFolder::~MemoryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Path, ignored);
}

}  // namespace orvix::platform
