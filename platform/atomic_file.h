#pragma once

#include <sys/types.h>

#include <string>

#include "host/variant.h"

namespace orvix::platform {

/// Replaces a file as a whole: the bytes go to a temporary file beside it, are flushed to the medium, and the temporary
/// takes the name. Whatever interrupts this, the name holds the old contents or the new ones. `mode` are the new file's
/// permissions, less the process's mask. Raises SystemError naming the file; the temporary is then gone.
void WriteFileAtomically(const std::string& path, ByteView bytes, mode_t mode);

/// Moves a finished file over another one in the same folder, which is replaced as a whole, and flushes the folder.
/// Raises SystemError naming the file.
void ReplaceFile(const std::string& replacement, const std::string& path);

}  // namespace orvix::platform
