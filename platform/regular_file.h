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

/// Makes sure that a path names a regular file that may be read, or with W_OK written, too. It is not opened: closing
/// it again would give up the locks that this process holds on the file, as databases do. Raises as above.
void RequireRegularFile(const std::string& path, int access);
/// The same of a file to be read and written. An empty one that is its owner's only is made when there is none.
void MakeRegularFile(const std::string& path);

/// The whole file. Raises as above, and General for one above `limit` bytes.
ByteArray ReadRegularFile(const std::string& path, std::size_t limit);

/// Whether a path names the file that is open.
bool NamesFile(const std::string& path, const FileDescriptor& file);

}  // namespace orvix::platform
