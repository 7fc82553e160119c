#pragma once

#include <sys/types.h>

#include <string>

#include "host/variant.h"
#include "platform/file_descriptor.h"

namespace orvix::platform {

/// A file that takes another one's name when all of it is there. The bytes go to a temporary file beside the name,
/// which is gone with the object unless Finish was reached. Members raise SystemError naming the file.
class FileReplacement {
public:
    /// `mode` are the new file's permissions, less the process's mask.
    FileReplacement(std::string path, mode_t mode);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    void Write(ByteView bytes);
    /// Flushes the file to the medium and gives it its name.
    void Finish();

private:
    std::string m_Path;
    std::string m_Description;
    std::string m_Temporary;
    FileDescriptor m_File;
    bool m_Finished = false;
};

/// Replaces a file as a whole. Whatever interrupts this, the name holds the old contents or the new ones. `mode` are
/// the new file's permissions, less the process's mask. Raises SystemError naming the file.
void WriteFileAtomically(const std::string& path, ByteView bytes, mode_t mode);

}  // namespace orvix::platform
