#pragma once

#include <string>

namespace orvix::platform {

/// A folder that goes with the object, on a file system in memory where there is one: who works in it waits for no
/// disk.
class MemoryFolder {
public:
    /// Raises SystemError when there is no place for it.
    MemoryFolder();
    ~MemoryFolder();
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    /// Ends with "/".
    const std::string& Path() const { return m_Path; }

private:
    std::string m_Path;
};

}  // namespace orvix::platform
