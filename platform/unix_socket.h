#pragma once

#include <string>

#include "platform/file_descriptor.h"

namespace orvix::platform {

/// A local socket of a type such as SOCK_STREAM that never blocks. Raises SystemError.
FileDescriptor NewUnixSocket(int type);

/// Gives a socket its path. False with the reason in errno. Raises SystemError for a path that is too long.
bool BindSocket(const FileDescriptor& socket, const std::string& path);

/// Connects a socket to that of a path, likewise.
bool ConnectSocket(const FileDescriptor& socket, const std::string& path);

}  // namespace orvix::platform
