#pragma once

#include <unistd.h>

#include <string>
#include <utility>

#include "host/variant.h"

namespace orvix::platform {

/// Owns an open file descriptor; closes it when it goes.
class FileDescriptor {
public:
    explicit FileDescriptor(int value = -1) : m_Value(value) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_Value(std::exchange(other.m_Value, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_Value, other.m_Value);
        return *this;
    }
    ~FileDescriptor() {
        if (IsOpen()) ::close(m_Value);
    }

    bool IsOpen() const { return m_Value >= 0; }
    int Get() const { return m_Value; }
    /// Gives the descriptor away: who gets it closes it.
    int Release() { return std::exchange(m_Value, -1); }

private:
    int m_Value;
};

/// Writes all bytes, in one system call unless the system takes fewer. Raises SystemError, `description` first.
void WriteAll(const FileDescriptor& file, ByteView bytes, const std::string& description);

/// Makes a folder and those above it that are missing. Raises SystemError naming it.
void CreateFolders(const std::string& folder);

/// Waits for a folder's lock, which excludes other threads and other processes that ask for it; held until the result
/// goes. Raises SystemError naming the folder.
FileDescriptor LockFolder(const std::string& folder);

}  // namespace orvix::platform
