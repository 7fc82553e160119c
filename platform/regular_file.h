#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "host/variant.h"
#include "platform/file_descriptor.h"

namespace orvix::platform {

/// Permissions of files that are their owner's business only.
constexpr mode_t kOwnerOnly = 0600;

/// Opens what is, or with O_CREAT becomes, a regular file: a pipe or a device could block the caller or do harm.
/// `mode` are a new file's permissions, less the process's mask. Raises SystemError naming the file, and General for
/// what is not a regular file.
FileDescriptor OpenRegularFile(const std::string& path, int flags, mode_t mode = 0666);

/// The whole file. Raises as above, and General for one above `limit` bytes.
ByteArray ReadRegularFile(const std::string& path, std::size_t limit);

/// Whether a path names the file that is open.
bool NamesFile(const std::string& path, const FileDescriptor& file);

}  // namespace orvix::platform
